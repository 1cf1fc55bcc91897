#pragma once
// A binary file opened either for reading or for writing, the store of binary projects.
// Bytes go in and out unchanged; values are written in the machine's own byte order.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>

#include <TalSDK/SDKExport.h>

class TALSDK_SDK_EXPORT MFile {
 public:
  enum class OpenMode { Read, Write };

  MFile() = default;
  // Closes the file if it is open.
  ~MFile();
  MFile(const MFile&) = delete;
  MFile& operator=(const MFile&) = delete;

  // Opens `path` for reading, or creates it (replacing an existing file) for writing. Closes
  // a file that was open first. False when the file cannot be opened.
  bool Open(const std::wstring& path, OpenMode mode);
  // False when nothing was open or buffered data could not be written.
  bool Close();
  bool IsOpen() const { return m_file != nullptr; }
  bool IsReading() const { return IsOpen() && m_mode == OpenMode::Read; }
  bool IsWriting() const { return IsOpen() && m_mode == OpenMode::Write; }

  // False when the file is not open for writing or not every byte was written.
  bool Write(const void* data, std::size_t size);
  // The number of bytes read, fewer than `size` at the end of the file; 0 when the file is
  // not open for reading.
  std::size_t Read(void* data, std::size_t size);

  template <class T>
  bool WriteValue(const T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    return Write(&value, sizeof value);
  }
  // False, with `value` unchanged, when the file holds fewer bytes than the value.
  template <class T>
  bool ReadValue(T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    T read;
    if (Read(&read, sizeof read) != sizeof read) return false;
    value = read;
    return true;
  }

  // The byte offset of the next read or write; 0 when nothing is open.
  std::uint64_t GetPosition() const;

 private:
  std::FILE* m_file = nullptr;
  OpenMode m_mode = OpenMode::Read;
};
