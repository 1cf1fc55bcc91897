#include <TalSDK/machine/MachineFile.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
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
    const std::filesystem::path reference = std::string(TEST_DATA "/machine/data/") + name;
    const auto path = m_dir.File(name);
    std::wstring message = L"untouched";
    ASSERT_TRUE(SaveToTMCF(machine, path.wstring().c_str(), message));
    EXPECT_EQ(message, L"untouched");
    EXPECT_EQ(TestSupport::ReadFile(path), TestSupport::ReadFile(reference));
    MachineParameters read;
    ASSERT_TRUE(LoadFromTMCF(read, reference.wstring().c_str(), message, kKeep)) << message;
    EXPECT_TRUE(read == machine);
  }

  const auto path = m_dir.File("odd.xml");
  // Any unit but millimetres is written as inches.
  MachineParameters odd;
  odd.m_unit = 7;
  ASSERT_TRUE(SaveToTMCF(odd, path.wstring().c_str()));
  EXPECT_THAT(TestSupport::ReadFile(path), HasSubstr("\n  <Unit>Inch</Unit>\n"));
}

TEST_F(MachineFileTest, DefaultUnitAndEquality) {
  EXPECT_EQ(MachineParameters().m_unit, TalAM::eMillimetre);
  {
    TalSDK::Common::ScopedConversionFactor inches(25.4);
    EXPECT_EQ(MachineParameters().m_unit, TalAM::eInch);
  }

  // The order of the support profiles matters, and so do kept elements (the values are left to
  // the example-wide check).
  const MachineParameters full = FullMachine();
  MachineParameters changed[2] = {full, full};
  changed[0].m_supportProfiles.reverse();
  changed[1].ClearUnhandledElements();
  for (const MachineParameters& m : changed) {
    EXPECT_FALSE(m == full);
    EXPECT_TRUE(m != full);
  }
}

// (Which "Name" is the material's and which the machine's is the example round trip's.)
TEST_F(MachineFileTest, TopLevelDispatch) {
  struct Case {
    const char* content;
    std::int32_t unit, zCompensation;
    std::size_t profiles, kept, refused;
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    SCOPED_TRACE(c.content);
    MachineParameters m;
    std::wstring message;
    std::vector<TalSAX::SAXWarning> refused;
    const auto path = Machine("case" + std::to_string(index++) + ".xml", c.content);
    ASSERT_TRUE(LoadFromTMCF(m, path.c_str(), message, kKeep, refused));
    EXPECT_EQ(m.m_unit, c.unit);
    EXPECT_EQ(m.m_zCompensationParameters.m_zCompensationValue, c.zCompensation);
    EXPECT_EQ(m.m_supportProfiles.size(), c.profiles);
    EXPECT_EQ(m.GetUnhandledElements().size(), c.kept);
    EXPECT_EQ(refused.size(), c.refused);
  }
}

// "Machine" may sit in the wrapper; a document with another root loads as the defaults.
TEST_F(MachineFileTest, RootElements) {
  MachineParameters wrapped, other;
  const std::wstring inWrapper =
      Write("wrapped.xml",
            "<tal:ProjectFile xmlns:tal=\"urn:x\"><Machine><Name>W</Name></Machine>"
            "</tal:ProjectFile>");
  ASSERT_TRUE(LoadFromTMCF(wrapped, inWrapper.c_str(), kKeep));
  EXPECT_EQ(wrapped.GetName(), L"W");
  std::wstring message = L"untouched";
  EXPECT_TRUE(LoadFromTMCF(other, Write("other.xml", "<Printer><Name>P</Name></Printer>").c_str(),
                           message, kKeep));
  EXPECT_TRUE(other == MachineParameters());
  EXPECT_EQ(message, L"untouched");
}

TEST_F(MachineFileTest, LoadFailuresAndTheirMessages) {
  const std::wstring valid = Machine("valid.xml", "<Name>V</Name>");
  struct Case {
    std::wstring path;
    int policy;
    std::wstring expected;  // substring of the message
  };
  const Case cases[] = {
      {valid, 3,
       L"_LoadFromTMCF, _GetExtensibleObjectOperatingMode : unexpected "
       L"MachineParametersSaxRead::LoadPolicyUnhandledElements enum"},
      {valid, -1, L"unexpected MachineParametersSaxRead::LoadPolicyUnhandledElements enum"},
      {m_dir.File("missing.xml").wstring(), kKeep, L"missing.xml"},
      {m_dir.Path().wstring(), kKeep, L"not a regular file"},
      {Write("text.xml", "not xml at all"), kKeep, L"text.xml:1:"},
      {Write("truncated.xml", "<Machine>\n<Name>T</Name>\n<Comm"), kKeep, L"truncated.xml:3:"},
  };
  for (const Case& c : cases) {
    MachineParameters m;
    std::wstring message;
    EXPECT_FALSE(LoadFromTMCF(m, c.path.c_str(), message, static_cast<Policy>(c.policy))) << c.path;
    EXPECT_THAT(message, HasSubstr(c.expected)) << c.path;
    EXPECT_FALSE(LoadFromTMCF(m, c.path.c_str(), static_cast<Policy>(c.policy)));
  }
}

// The IDs of kept elements are taken: the meshes written get other ones.
TEST_F(MachineFileTest, KeptElementIdsAreNotGivenToMeshes) {
  MachineParameters machine = FullMachine();
  TalSDK::MSaxUnhandledElement linked;
  linked.AppendElement(0, "Linked", {{"ID", "1"}});
  machine.AddUnhandledElement(linked);
  const auto path = m_dir.File("ids.xml");
  ASSERT_TRUE(SaveToTMCF(machine, path.wstring().c_str()));
  const std::string text = TestSupport::ReadFile(path);
  EXPECT_THAT(text, HasSubstr("<Mesh ID=\"2\">"));
  EXPECT_THAT(text, HasSubstr("<Linked ID=\"1\"/>"));
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
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_FALSE(SaveToTMCF(bad, path.wstring().c_str()));

  // A full disk: the error surfaces and the device is left alone.
  EXPECT_FALSE(SaveToTMCF(FullMachine(), L"/dev/full", message));
  EXPECT_THAT(message, HasSubstr(L"No space left"));
  EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

// The structured result says what LoadFromTMCF says, and more. The policy holds for every
// block: an unknown element is kept or dropped alike at the top and deep in the platform.
TEST_F(MachineFileTest, PoliciesAndTheStructuredLoadResult) {
  const std::string requiredInPlatform =
      "<Platform><Envelope><Future required=\"true\"/></Envelope></Platform><New/>";
  const std::vector<TalSDK::MSaxUnhandledElementDescription> future = {
      {"Future", "Machine/Platform/Envelope", 3}};
  const struct Case {
    const char* name;
    std::string content;  // on the third line of the file
    Policy policy;
    bool success;
    std::size_t kept;  // kept elements in the whole machine
    int line, column;  // of the reader error; 0 for none
    std::vector<TalSAX::SAXWarning> refused;
    std::vector<TalSDK::MSaxUnhandledElementDescription> required;
  } cases[] = {
      {"reader-error", "<Name>bad\x01</Name>", kKeep, false, 0, 3, 10, {}, {}},
      {"refused",
       "  <Unit>Metre</Unit>",
       kKeep,
       true,
       0,
       0,
       0,
       {{"Machine/Unit", 3, 3, "Metre"}},
       {}},
      {"required-rejected", requiredInPlatform, kReject, false, 2, 0, 0, {}, future},
      // Kept required elements are listed whatever the policy; dropped ones are not.
      {"required-kept", requiredInPlatform, kKeep, true, 2, 0, 0, {}, future},
      {"required-dropped", requiredInPlatform, kIgnore, true, 0, 0, 0, {}, {}},
      {"not-required", "<Name>V</Name><New required=\"false\"/>", kReject, true, 1, 0, 0, {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::wstring path = Machine(std::string(c.name) + ".xml", c.content);
    MachineParameters machine, other;
    const TalAM::MachineLoadResult result = TalAM::LoadMachineFile(machine, path.c_str(), c.policy);
    EXPECT_EQ(machine.GetUnhandledElementsFromAllNodes().size(), c.kept);

    std::wstring message;
    std::vector<TalSAX::SAXWarning> refused;
    EXPECT_EQ(LoadFromTMCF(other, path.c_str(), message, c.policy, refused), c.success);
    EXPECT_EQ(result.success, c.success);
    EXPECT_EQ(result.message, message);
    EXPECT_EQ(result.message.empty(), c.success);

    EXPECT_EQ(result.file, c.line > 0 ? std::filesystem::path(path).string() : "");
    EXPECT_EQ(result.line, c.line);
    EXPECT_EQ(result.column, c.column);
    ASSERT_EQ(result.refusedElements.size(), c.refused.size());
    for (std::size_t i = 0; i < c.refused.size(); ++i) {
      const TalSAX::SAXWarning &got = result.refusedElements[i], &want = c.refused[i];
      EXPECT_EQ(std::tie(got.path, got.line, got.column, got.text),
                std::tie(want.path, want.line, want.column, want.text));
    }
    EXPECT_EQ(result.requiredElements, c.required);
  }
}

// The atomic save. No temporary file may be left behind in the directory.

namespace {

std::vector<std::string> Names(const std::filesystem::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

MachineParameters WithLongComment() {
  MachineParameters machine = FullMachine();
  machine.m_comments = std::wstring(200000, L'x');
  return machine;
}

std::string Reference(const char* name) {
  return TestSupport::ReadFile(std::string(TEST_DATA "/machine/data/") + name);
}

}  // namespace

// What SaveToTMCF writes (the reference files); replacing keeps the permission bits, and
// through a link the file it names is replaced.
TEST_F(MachineFileTest, AtomicSaveWritesWhatSaveWritesAndFollowsLinks) {
  namespace fs = std::filesystem;
  const fs::path dir = m_dir.File("atomic"), file = dir / "m.xml";
  fs::create_directory(dir);
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
  EXPECT_EQ(Names(dir), (std::vector<std::string>{"link.xml", "m.xml"}));
}

TEST_F(MachineFileTest, AtomicSaveFailuresLeaveThePreviousFileAndNoTemporaryFile) {
  namespace fs = std::filesystem;
  const fs::path dir = m_dir.File("atomic");
  fs::create_directory(dir);
  const fs::path file = dir / "m.xml";
  ASSERT_TRUE(TalAM::SaveMachineFileAtomically(FullMachine(), file.wstring().c_str()).success);
  const std::string previous = TestSupport::ReadFile(file);
  ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
  fs::create_directory(dir / "sub");

  const auto expectUntouched = [&](const TalAM::MachineSaveResult& result, const wchar_t* reason) {
    EXPECT_FALSE(result.success);
    EXPECT_THAT(result.message, HasSubstr(reason));
    EXPECT_EQ(TestSupport::ReadFile(file), previous);
    EXPECT_EQ(Names(dir), (std::vector<std::string>{"fifo", "m.xml", "sub"}));
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
  EXPECT_FALSE(TalAM::SaveMachineFileAtomically(FullMachine(), L"/dev/null").success);
  EXPECT_FALSE(TalAM::SaveMachineFileAtomically(FullMachine(), L"").success);

  // A write that fails part way (the file size limit makes write() fail with EFBIG).
  {
    struct rlimit saved {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = saved;
    small.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const TalAM::MachineSaveResult result =
        TalAM::SaveMachineFileAtomically(WithLongComment(), file.wstring().c_str());
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, oldHandler);
    expectUntouched(result, L"File too large");
  }
}
