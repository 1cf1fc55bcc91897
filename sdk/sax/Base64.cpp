#include "sdk/sax/Base64.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace TalSAX::Base64 {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The encoder maps each 12-bit half of a 3-byte group to its two characters at once.
constexpr std::array<char, 8192> MakePairTable() {
  std::array<char, 8192> table{};
  for (std::size_t i = 0; i < 4096; ++i) {
    table[2 * i] = kAlphabet[i >> 6];
    table[2 * i + 1] = kAlphabet[i & 63];
  }
  return table;
}
alignas(64) constexpr std::array<char, 8192> kPairs = MakePairTable();

constexpr std::uint8_t kNoValue = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeValueTable() {
  std::array<std::uint8_t, 256> table{};
  for (auto& v : table)
    v = kNoValue;
  for (std::uint8_t i = 0; i < 64; ++i)
    table[static_cast<unsigned char>(kAlphabet[i])] = i;
  return table;
}
constexpr std::array<std::uint8_t, 256> kValues = MakeValueTable();

// The decoder ORs four lookups, one per character position, into a word whose bytes in
// memory order are the three decoded bytes; the fourth byte is zero unless a character is
// not in the alphabet ('=' and white space included), which sets kInvalid there.
constexpr bool kLittleEndian = std::endian::native == std::endian::little;
constexpr std::uint32_t kInvalid = kLittleEndian ? 0x80000000u : 0x00000001u;

constexpr std::uint32_t Shifted(int position, std::uint32_t v) {
  if constexpr (kLittleEndian) {
    switch (position) {
      case 0:
        return v << 2;
      case 1:
        return (v >> 4) | ((v & 0xF) << 12);
      case 2:
        return ((v >> 2) << 8) | ((v & 0x3) << 22);
      default:
        return v << 16;
    }
  } else {
    return v << (26 - 6 * position);
  }
}

using DecodeTable = std::array<std::uint32_t, 256>;
constexpr DecodeTable MakeDecodeTable(int position) {
  DecodeTable table{};
  for (std::size_t c = 0; c < 256; ++c) {
    table[c] = kValues[c] == kNoValue ? kInvalid : Shifted(position, kValues[c]);
  }
  return table;
}
alignas(64) constexpr DecodeTable kDecode0 = MakeDecodeTable(0);
alignas(64) constexpr DecodeTable kDecode1 = MakeDecodeTable(1);
alignas(64) constexpr DecodeTable kDecode2 = MakeDecodeTable(2);
alignas(64) constexpr DecodeTable kDecode3 = MakeDecodeTable(3);

inline std::uint32_t DecodeFour(const unsigned char* p) {
  return kDecode0[p[0]] | kDecode1[p[1]] | kDecode2[p[2]] | kDecode3[p[3]];
}

constexpr bool IsSpace(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::uint64_t LoadBigEndian64(const unsigned char* p) {
  std::uint64_t v;
  std::memcpy(&v, p, sizeof v);
  if constexpr (kLittleEndian) v = __builtin_bswap64(v);
  return v;
}

inline std::uint16_t Pair(std::uint64_t bits12) {
  std::uint16_t pair;
  std::memcpy(&pair, &kPairs[2 * bits12], 2);
  return pair;
}

// Encodes the top 48 bits of `x` (six bytes) as eight characters with one store.
inline char* EncodeSix(std::uint64_t x, char* out) {
  const std::uint64_t a = Pair(x >> 52), b = Pair((x >> 40) & 0xFFF), c = Pair((x >> 28) & 0xFFF),
                      d = Pair((x >> 16) & 0xFFF);
  const std::uint64_t chars =
      kLittleEndian ? a | (b << 16) | (c << 32) | (d << 48) : (a << 48) | (b << 32) | (c << 16) | d;
  std::memcpy(out, &chars, 8);
  return out + 8;
}

char* EncodeGroup(std::uint32_t bits24, char* out) {
  std::memcpy(out, &kPairs[2 * (bits24 >> 12)], 2);
  std::memcpy(out + 2, &kPairs[2 * (bits24 & 0xFFF)], 2);
  return out + 4;
}

}  // namespace

void Encode(std::span<const std::byte> bytes, char* out) {
  const auto* in = reinterpret_cast<const unsigned char*>(bytes.data());
  std::size_t remaining = bytes.size();
  // Twelve bytes (sixteen characters) per step, in two eight-byte reads.
  while (remaining >= 14) {
    out = EncodeSix(LoadBigEndian64(in), out);
    out = EncodeSix(LoadBigEndian64(in + 6), out);
    in += 12;
    remaining -= 12;
  }
  while (remaining >= 3) {
    out = EncodeGroup((std::uint32_t{in[0]} << 16) | (std::uint32_t{in[1]} << 8) | in[2], out);
    in += 3;
    remaining -= 3;
  }
  if (remaining == 1) {
    out[0] = kAlphabet[in[0] >> 2];
    out[1] = kAlphabet[(in[0] & 0x3) << 4];
    out[2] = '=';
    out[3] = '=';
  } else if (remaining == 2) {
    out[0] = kAlphabet[in[0] >> 2];
    out[1] = kAlphabet[((in[0] & 0x3) << 4) | (in[1] >> 4)];
    out[2] = kAlphabet[(in[1] & 0xF) << 2];
    out[3] = '=';
  }
}

void AppendEncoded(std::span<const std::byte> bytes, std::string& out) {
  const std::size_t start = out.size();
  out.resize(start + EncodedSize(bytes.size()));
  Encode(bytes, out.data() + start);
}

std::ptrdiff_t Decode(std::string_view text, std::byte* out, std::size_t outCapacity) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = p + text.size();
  auto* o = reinterpret_cast<unsigned char*>(out);
  auto* const outEnd = o + outCapacity;

  for (;;) {
    // Fast path: groups of four alphabet characters, each stored as a four-byte word of
    // which three bytes are kept. Bounded so that neither the reads nor the stores leave the
    // buffers; it stops at the first group holding anything else.
    const std::size_t room = static_cast<std::size_t>(outEnd - o);
    std::size_t groups = room >= 4 ? (room - 4) / 3 + 1 : 0;
    groups = std::min(groups, static_cast<std::size_t>(end - p) / 4);
    for (; groups >= 4; groups -= 4) {
      const std::uint32_t v0 = DecodeFour(p), v1 = DecodeFour(p + 4), v2 = DecodeFour(p + 8),
                          v3 = DecodeFour(p + 12);
      if ((v0 | v1 | v2 | v3) & kInvalid) break;
      std::memcpy(o, &v0, 4);
      std::memcpy(o + 3, &v1, 4);
      std::memcpy(o + 6, &v2, 4);
      std::memcpy(o + 9, &v3, 4);
      p += 16;
      o += 12;
    }
    for (; groups > 0; --groups) {
      const std::uint32_t v = DecodeFour(p);
      if (v & kInvalid) break;
      std::memcpy(o, &v, 4);
      p += 4;
      o += 3;
    }

    // Careful path for one group: skips white space, handles the padding of the final group
    // and the last few bytes of the output.
    unsigned char group[4];
    int count = 0;
    while (count < 4 && p < end) {
      const unsigned char c = *p++;
      if (!IsSpace(c)) group[count++] = c;
    }
    if (count == 0) break;
    if (count < 4) return -1;

    int padding = 0;
    if (group[3] == '=') padding = group[2] == '=' ? 2 : 1;
    std::uint32_t values[4] = {0, 0, 0, 0};
    for (int i = 0; i < 4 - padding; ++i) {
      values[i] = kValues[group[i]];
      if (values[i] == kNoValue) return -1;
    }
    // The bits below the last decoded byte must be zero in the canonical form.
    if ((padding == 2 && (values[1] & 0xF) != 0) || (padding == 1 && (values[2] & 0x3) != 0)) {
      return -1;
    }
    const int byteCount = 3 - padding;
    if (outEnd - o < byteCount) return -1;
    const std::uint32_t bits = (values[0] << 18) | (values[1] << 12) | (values[2] << 6) | values[3];
    for (int i = 0; i < byteCount; ++i)
      o[i] = static_cast<unsigned char>(bits >> (16 - 8 * i));
    o += byteCount;

    if (padding > 0) {
      // Padding ends the text: only white space may follow.
      while (p < end && IsSpace(*p))
        ++p;
      if (p != end) return -1;
      break;
    }
  }
  return o - reinterpret_cast<unsigned char*>(out);
}

}  // namespace TalSAX::Base64
