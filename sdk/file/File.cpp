#include <TalSDK/sdk/file/File.h>

#include <filesystem>

MFile::~MFile() {
  Close();
}

bool MFile::Open(const std::wstring& path, OpenMode mode) {
  Close();
  const std::filesystem::path file(path);
  m_file = std::fopen(file.c_str(), mode == OpenMode::Read ? "rb" : "wb");
  m_mode = mode;
  return m_file != nullptr;
}

bool MFile::Close() {
  if (m_file == nullptr) return false;
  const bool closed = std::fclose(m_file) == 0;
  m_file = nullptr;
  return closed;
}

bool MFile::Write(const void* data, std::size_t size) {
  if (!IsWriting()) return false;
  return std::fwrite(data, 1, size, m_file) == size;
}

std::size_t MFile::Read(void* data, std::size_t size) {
  if (!IsReading()) return 0;
  return std::fread(data, 1, size, m_file);
}

std::uint64_t MFile::GetPosition() const {
  if (m_file == nullptr) return 0;
  const long position = std::ftell(m_file);
  return position < 0 ? 0 : static_cast<std::uint64_t>(position);
}
