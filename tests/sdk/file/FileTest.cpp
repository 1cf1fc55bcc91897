#include <TalSDK/sdk/file/File.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/TestSupport.h"

namespace {

// Opening for writing replaces the file: its longer old content would still be read after the
// values. Missing files do not open.
TEST(FileTest, ValuesReadBackInTheOrderWritten) {
  const TestSupport::TempDirectory directory;
  const std::wstring path = directory.File("values.bin").wstring();
  TestSupport::WriteFile(path, std::string(32, 'x'));
  MFile file;
  ASSERT_TRUE(file.Open(path, MFile::OpenMode::Write));
  EXPECT_TRUE(file.WriteValue(std::int32_t{-7}));
  EXPECT_TRUE(file.WriteValue(2.5));
  EXPECT_EQ(file.GetPosition(), 12u);
  EXPECT_EQ(file.Read(nullptr, 0), 0u);  // not open for reading

  // Opening again closes the file first, so what was written is there to read.
  ASSERT_TRUE(file.Open(path, MFile::OpenMode::Read));
  std::int32_t number = 0;
  double real = 0.0;
  EXPECT_TRUE(file.ReadValue(number) && file.ReadValue(real));
  EXPECT_EQ(std::pair(number, real), std::pair(-7, 2.5));
  EXPECT_FALSE(file.Write(&number, sizeof number));  // not open for writing
  // At the end: nothing read, the target left as it was.
  EXPECT_FALSE(file.ReadValue(number));
  EXPECT_EQ(number, -7);
  ASSERT_TRUE(file.Close());
  EXPECT_FALSE(file.Close());
  EXPECT_EQ(file.GetPosition(), 0u);

  EXPECT_FALSE(file.Open(directory.File("missing.bin").wstring(), MFile::OpenMode::Read));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_FALSE(file.Open((directory.Path() / "no" / "such.bin").wstring(), MFile::OpenMode::Write));
}

}  // namespace
