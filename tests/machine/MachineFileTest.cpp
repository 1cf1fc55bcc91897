#include <TalSDK/machine/MachineFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include <TalSDK/sdk/common/Units.h>
#include "support/TestSupport.h"

using TalAM::LoadFromTMCF;
using TalAM::MachineParameters;
using TalAM::SaveToTMCF;
using Policy = TalAM::MachineParametersSaxRead::LoadPolicyUnhandledElements;
using ::testing::HasSubstr;

namespace {

namespace fs = std::filesystem;
constexpr Policy kKeep = TalAM::MachineParametersSaxRead::KeepUnhandledElements;
constexpr Policy kIgnore = TalAM::MachineParametersSaxRead::IgnoreUnhandledElements;
constexpr Policy kReject = TalAM::MachineParametersSaxRead::RejectRequiredUnhandledElements;

class MachineFileTest : public ::testing::Test {
 protected:
  std::wstring Write(std::string_view name, std::string_view content) {
    const auto path = m_dir.File(name);
    TestSupport::WriteFile(path, content);
    return path.wstring();
  }
  std::wstring Machine(std::string_view name, std::string_view content) {
    return Write(name, std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Machine>\n") +
                           std::string(content) + "\n</Machine>\n");
  }
  TestSupport::TempDirectory m_dir;
};

std::string Reference(const std::string& name) {
  return TestSupport::ReadFile(TEST_DATA "/machine/data/" + name);
}

MachineParameters FullMachine() {
  MachineParameters m;
  m.SetName(L"Cell 4 & 5");
  m.m_comments = L"first\r\nsecond";
  m.m_materialName = L"Ti6Al4V";
  m.m_unit = TalAM::eInch;
  m.m_platform.m_shape = MSAXMachinePlatform::PlatformShape::Circle;
  m.m_platform.m_envelope.m_dx = m.m_platform.m_envelope.m_dy = 250000;
  m.m_platform.m_envelope.m_dz = 300000;
  m.m_zCompensationParameters.m_zCompensationValue = -250;
  m.m_zCompensationParameters.m_removeSelfIteractions = true;
  m.m_zCompensationParameters.m_zCompType = 3;
  m.m_zCompensationParameters.m_angleFactors = {1000, -1};
  m.m_supportProfiles.emplace_back().SetSetting("ProfileName", "A");
  TalSDK::MSaxUnhandledElement lattice, newer;
  lattice.AppendElement(0, "Lattice", {{"spacing", "0.8"}});
  auto& b = m.m_supportProfiles.emplace_back();
  b.SetSetting("ProfileName", "B");
  b.AppendSetting(lattice);
  m.m_support.SetSetting("ProfileName", "A");
  // A turned witness part with its supports, and a second, empty named set.
  m.m_qualityParts.m_profileName = L"Witnesses";
  m.m_qualityParts.m_group = true;
  QualityPartItem& part = m.m_qualityParts.m_items[L"Coupon"];
  part.m_mesh->SetName(L"Coupon");
  part.m_mesh->SetGeometry({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}});
  TalSDK::SupportGeneration::MSupportSupport support;
  support.SetSetting("Type", "Block");
  TalSDK::SupportGeneration::AttachSupport(*part.m_mesh, support);
  const double turned[16] = {0, -1, 0, 12.5, 1, 0, 0, -4, 0, 0, 1, 0, 0, 0, 0, 1};
  part.m_position.MakeFromDouble16(turned);
  m.m_qualityPartsProfiles.emplace_back().m_profileName = L"Empty";
  newer.AppendElement(0, "FromANewerVersion", {{"level", "2"}});
  newer.AppendElement(1, "Inner");
  newer.AppendText(2, "text");
  m.AddUnhandledElement(newer);
  return m;
}

}  // namespace

// Every element this version writes, in file order, for a machine with two support profiles,
// a quality part and a kept element, and for one at its defaults; each file reads back equal.
TEST_F(MachineFileTest, WritesTheReferenceFiles) {
  const std::pair<MachineParameters, const char*> cases[] = {
      {FullMachine(), "full-machine.xml"}, {MachineParameters(), "default-machine.xml"}};
  for (const auto& [machine, name] : cases) {
    SCOPED_TRACE(name);
    const std::wstring path = m_dir.File(name).wstring();
    std::wstring message = L"untouched";
    ASSERT_TRUE(SaveToTMCF(machine, path.c_str(), message));
    EXPECT_EQ(message, L"untouched");
    ASSERT_EQ(TestSupport::ReadFile(path), Reference(name));
    MachineParameters read;  // what the reference file holds, read back
    ASSERT_TRUE(LoadFromTMCF(read, path.c_str(), message, kKeep)) << message;
    EXPECT_TRUE(read == machine);
  }

  // Any unit but millimetres is written as inches. The IDs of kept elements are taken: the
  // meshes written get other ones.
  MachineParameters odd = FullMachine();
  odd.m_unit = 7;
  TalSDK::MSaxUnhandledElement linked;
  linked.AppendElement(0, "Linked", {{"ID", "1"}});
  odd.AddUnhandledElement(linked);
  const auto path = m_dir.File("odd.xml");
  ASSERT_TRUE(SaveToTMCF(odd, path.wstring().c_str()));
  const std::string text = TestSupport::ReadFile(path);
  for (const char* part : {"\n  <Unit>Inch</Unit>\n", "<Mesh ID=\"2\">", "<Linked ID=\"1\"/>"})
    EXPECT_THAT(text, HasSubstr(part));
}

// The default unit follows the user unit (millimetres: the default machine's reference file).
TEST_F(MachineFileTest, DefaultUnitAndEquality) {
  const TalSDK::Common::ScopedConversionFactor inches(25.4);
  EXPECT_EQ(MachineParameters().m_unit, TalAM::eInch);

  // The order of the support profiles matters, and so do kept elements (the values are left to
  // the example-wide check).
  const MachineParameters full = FullMachine();
  MachineParameters changed[2] = {full, full};
  changed[0].m_supportProfiles.reverse();
  changed[1].ClearUnhandledElements();
  for (const MachineParameters& m : changed)
    EXPECT_TRUE(!(m == full) && m != full);
}

// (Which "Name" is the material's and which the machine's is the example round trip's.)
TEST_F(MachineFileTest, TopLevelDispatch) {
  // Content; unit, Z compensation, support profiles, kept and refused elements.
  const std::tuple<const char*, std::int32_t, std::int32_t, std::size_t, std::size_t, std::size_t>
      cases[] = {
          // Only "Mm" and "Inch" are units; another text leaves the unit and is refused.
          {"<Unit>Inch</Unit><Unit>Metre</Unit>", 1, 1000, 0, 0, 1},
          // An unreadable "ZCompensation" is ignored, not refused.
          {"<ZCompensation>5x</ZCompensation>", 0, 1000, 0, 0, 0},
          // Read into the Z compensation block (whose own value comes later in the example).
          {"<ZCompensation>7</ZCompensation>", 0, 7, 0, 0, 0},
          // Only the profiles of the last "SupportProfilesVector" remain.
          {"<SupportProfilesVector><SupportProfile/><SupportProfile/></SupportProfilesVector>"
           "<SupportProfilesVector><SupportProfile/></SupportProfilesVector>",
           0, 1000, 1, 0, 0},
          // "SupportProfile" outside "SupportProfilesVector" is an unknown element.
          {"<SupportProfile><X/></SupportProfile>", 0, 1000, 0, 1, 0},
      };
  int index = 0;
  for (const auto& [content, unit, zCompensation, profiles, kept, refused] : cases) {
    SCOPED_TRACE(content);
    MachineParameters m;
    std::wstring message;
    std::vector<TalSAX::SAXWarning> warnings;
    const auto path = Machine("case" + std::to_string(index++) + ".xml", content);
    ASSERT_TRUE(LoadFromTMCF(m, path.c_str(), message, kKeep, warnings));
    EXPECT_EQ(
        std::tuple(m.m_unit, m.m_zCompensationParameters.m_zCompensationValue,
                   m.m_supportProfiles.size(), m.GetUnhandledElements().size(), warnings.size()),
        std::tuple(unit, zCompensation, profiles, kept, refused));
  }
}

// "Machine" may sit in the wrapper; a document with another root loads as the defaults, even
// when a "Machine" lies inside it.
TEST_F(MachineFileTest, RootElements) {
  MachineParameters wrapped, other;
  const std::wstring inWrapper = Write("wrapped.xml",
                                       "<tal:ProjectFile xmlns:tal=\"urn:x\">"
                                       "<Machine><Name>W</Name></Machine></tal:ProjectFile>");
  ASSERT_TRUE(LoadFromTMCF(wrapped, inWrapper.c_str(), kKeep));
  EXPECT_EQ(wrapped.GetName(), L"W");
  std::wstring message = L"untouched";
  EXPECT_TRUE(LoadFromTMCF(
      other, Write("other.xml", "<Printer><Machine><Name>P</Name></Machine></Printer>").c_str(),
      message, kKeep));
  EXPECT_TRUE(other == MachineParameters());
  EXPECT_EQ(message, L"untouched");
}

TEST_F(MachineFileTest, LoadFailuresAndTheirMessages) {
  const std::wstring valid = Machine("valid.xml", "<Name>V</Name>");
  // The file, the policy and a part of the message.
  const std::tuple<std::wstring, int, std::wstring> cases[] = {
      {valid, 3,
       L"_LoadFromTMCF, _GetExtensibleObjectOperatingMode : unexpected "
       L"MachineParametersSaxRead::LoadPolicyUnhandledElements enum"},
      {valid, -1, L"unexpected MachineParametersSaxRead::LoadPolicyUnhandledElements enum"},
      {m_dir.File("missing.xml").wstring(), kKeep, L"missing.xml"},
      {m_dir.Path().wstring(), kKeep, L"not a regular file"},
      {Write("text.xml", "not xml at all"), kKeep, L"text.xml:1:"},
      {Write("truncated.xml", "<Machine>\n<Name>T</Name>\n<Comm"), kKeep, L"truncated.xml:3:"},
  };
  for (const auto& [path, policy, expected] : cases) {
    MachineParameters m;
    std::wstring message;
    EXPECT_FALSE(LoadFromTMCF(m, path.c_str(), message, static_cast<Policy>(policy))) << path;
    EXPECT_THAT(message, HasSubstr(expected)) << path;
    EXPECT_FALSE(LoadFromTMCF(m, path.c_str(), static_cast<Policy>(policy)));
  }
}

TEST_F(MachineFileTest, SaveFailures) {
  // A file that cannot be created: false and no message.
  std::wstring message = L"untouched";
  EXPECT_FALSE(SaveToTMCF(MachineParameters(), m_dir.Path().wstring().c_str(), message));
  EXPECT_FALSE(SaveToTMCF(MachineParameters(), (m_dir.Path() / "no" / "dir.xml").wstring().c_str(),
                          message));
  EXPECT_EQ(message, L"untouched");

  // A writer error: the message names the element, and no file is left behind.
  MachineParameters bad;
  bad.m_comments = std::wstring(L"surrogate ") + static_cast<wchar_t>(0xD800);
  const auto path = m_dir.File("bad.xml");
  EXPECT_FALSE(SaveToTMCF(bad, path.wstring().c_str(), message));
  EXPECT_THAT(message, HasSubstr(L"Machine/Comments"));
  EXPECT_FALSE(fs::exists(path));
  EXPECT_FALSE(SaveToTMCF(bad, path.wstring().c_str()));

  // A block that refuses to write (a build-time type without a text): false, no message.
  MachineParameters refusing;
  refusing.m_buildTimeCalculation.m_type = BuildTimeEstimationType{4};
  std::string document;
  message = L"untouched";
  EXPECT_FALSE(TalAM::SaveMachineDocument(refusing, document, message));
  EXPECT_EQ(message, L"untouched");
  EXPECT_THAT(document, HasSubstr("<Platform>"));  // what was written before the refusal

  // A full disk: the error surfaces and the device is left alone.
  EXPECT_FALSE(SaveToTMCF(FullMachine(), L"/dev/full", message));
  EXPECT_THAT(message, HasSubstr(L"No space left"));
  EXPECT_TRUE(fs::exists("/dev/full"));
}

// The structured result says what LoadFromTMCF says, and more. The policy holds for every
// block: an unknown element is kept or dropped alike at the top and deep in the platform.
TEST_F(MachineFileTest, PoliciesAndTheStructuredLoadResult) {
  const std::string requiredInPlatform =
      "<Platform><Envelope><Future required=\"true\"/></Envelope></Platform><New/>";
  const std::vector<TalSDK::MSaxUnhandledElementDescription> future = {
      {"Future", "Machine/Platform/Envelope", 3}};
  // Name, content (on the third line of the file), policy, success, kept elements in the whole
  // machine, line and column of the reader error (0 for none), the refused elements with their
  // places, and whether "Future" is listed as required.
  const std::tuple<const char*, std::string, Policy, bool, std::size_t, int, int, const char*, bool>
      cases[] = {
          {"reader-error", "<Unit>Metre</Unit><Name>bad\x01</Name>", kKeep, false, 0, 3, 28,
           "Machine/Unit 3:1 'Metre' ", false},
          {"refused", "  <Unit>Metre</Unit>", kKeep, true, 0, 0, 0, "Machine/Unit 3:3 'Metre' ",
           false},
          {"required-rejected", requiredInPlatform, kReject, false, 2, 0, 0, "", true},
          // Kept required elements are listed whatever the policy; dropped ones are not.
          {"required-kept", requiredInPlatform, kKeep, true, 2, 0, 0, "", true},
          {"required-dropped", requiredInPlatform, kIgnore, true, 0, 0, 0, "", false},
          {"not-required", "<Name>V</Name><New required=\"false\"/>", kReject, true, 1, 0, 0, "",
           false},
      };
  for (const auto& [name, content, policy, success, kept, line, column, refused, required] :
       cases) {
    SCOPED_TRACE(name);
    const std::wstring path = Machine(std::string(name) + ".xml", content);
    MachineParameters machine, other;
    const TalAM::MachineLoadResult result = TalAM::LoadMachineFile(machine, path.c_str(), policy);
    EXPECT_EQ(machine.GetUnhandledElementsFromAllNodes().size(), kept);

    std::wstring message;
    std::vector<TalSAX::SAXWarning> warnings;
    EXPECT_EQ(LoadFromTMCF(other, path.c_str(), message, policy, warnings), success);
    EXPECT_EQ(result.success, success);
    EXPECT_EQ(result.message, message);
    EXPECT_EQ(result.message.empty(), success);
    EXPECT_EQ(result.file, line > 0 ? fs::path(path).string() : "");
    EXPECT_EQ(std::pair(result.line, result.column), std::pair(line, column));
    EXPECT_EQ(TestSupport::Listed(result.refusedElements, true), refused);
    EXPECT_EQ(TestSupport::Listed(warnings, true), refused);
    EXPECT_EQ(result.requiredElements, required ? future : decltype(future){});
  }
}

// The atomic save. No temporary file may be left behind in the directory.

// What SaveToTMCF writes (the reference files); replacing keeps the permission bits, and
// through a link the file it names is replaced.
TEST_F(MachineFileTest, AtomicSaveWritesWhatSaveWritesAndFollowsLinks) {
  const fs::path& dir = m_dir.Path();
  const fs::path file = dir / "m.xml";
  TalAM::MachineSaveResult result =
      TalAM::SaveMachineFileAtomically(FullMachine(), file.wstring().c_str());
  EXPECT_TRUE(result.success) << result.message;
  EXPECT_EQ(result.message, L"");
  EXPECT_EQ(TestSupport::ReadFile(file), Reference("full-machine.xml"));

  const auto perms = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
  fs::permissions(file, perms);
  fs::create_symlink("m.xml", dir / "link.xml");
  result =
      TalAM::SaveMachineFileAtomically(MachineParameters(), (dir / "link.xml").wstring().c_str());
  EXPECT_TRUE(result.success) << result.message;
  EXPECT_TRUE(fs::is_symlink(dir / "link.xml"));
  EXPECT_EQ(TestSupport::ReadFile(file), Reference("default-machine.xml"));
  EXPECT_EQ(fs::status(file).permissions() & fs::perms::all, perms);
  EXPECT_EQ(TestSupport::Entries(dir), (std::set<std::string>{"link.xml", "m.xml"}));

  // Up to 40 links in a row are followed, as the kernel does; one more is refused.
  for (int n = 2; n <= 41; ++n)
    fs::create_symlink("l" + std::to_string(n - 1), dir / ("l" + std::to_string(n)));
  fs::rename(dir / "link.xml", dir / "l1");
  EXPECT_TRUE(
      TalAM::SaveMachineFileAtomically(FullMachine(), (dir / "l40").wstring().c_str()).success);
  EXPECT_THAT(
      TalAM::SaveMachineFileAtomically(FullMachine(), (dir / "l41").wstring().c_str()).message,
      HasSubstr(L"too many levels of symbolic links"));
  // With the standard input closed, the temporary file gets descriptor 0, like any other.
  TestSupport::WithStandardInputClosed([&] {
    result = TalAM::SaveMachineFileAtomically(MachineParameters(), file.wstring().c_str());
  });
  EXPECT_TRUE(result.success) << result.message;
}

TEST_F(MachineFileTest, AtomicSaveFailuresLeaveThePreviousFileAndNoTemporaryFile) {
  const fs::path& dir = m_dir.Path();
  const fs::path file = dir / "m.xml";
  ASSERT_TRUE(TalAM::SaveMachineFileAtomically(FullMachine(), file.wstring().c_str()).success);
  const std::string previous = TestSupport::ReadFile(file);
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  fs::create_directory(dir / "sub");

  const auto expectUntouched = [&](const TalAM::MachineSaveResult& result, const wchar_t* reason) {
    EXPECT_FALSE(result.success);
    EXPECT_THAT(result.message, HasSubstr(reason));
    EXPECT_EQ(TestSupport::ReadFile(file), previous);
    EXPECT_EQ(TestSupport::Entries(dir), (std::set<std::string>{"fifo", "m.xml", "sub"}));
  };

  // A writer error: the file keeps its previous content, where SaveToTMCF deletes it.
  MachineParameters bad;
  bad.m_comments = std::wstring(L"surrogate ") + static_cast<wchar_t>(0xD800);
  expectUntouched(TalAM::SaveMachineFileAtomically(bad, file.wstring().c_str()),
                  L"Machine/Comments");

  // Targets that are not regular files are refused and left alone.
  for (const fs::path& other : {dir / "fifo", dir / "sub"}) {
    expectUntouched(TalAM::SaveMachineFileAtomically(FullMachine(), other.wstring().c_str()),
                    L"not a regular file");
  }
  EXPECT_FALSE(TalAM::SaveMachineFileAtomically(FullMachine(), L"").success);

  // A write that fails part way (the file size limit makes write() fail with EFBIG).
  {
    struct rlimit saved {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = saved;
    small.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    MachineParameters large = FullMachine();
    large.m_comments = std::wstring(200000, L'x');
    const auto result = TalAM::SaveMachineFileAtomically(large, file.wstring().c_str());
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, oldHandler);
    expectUntouched(result, L"File too large");
  }
}
