#include "Diff.h"

#include <pugixml.hpp>

#include <charconv>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <vector>

#include "Summary.h"
#include "Text.h"

namespace TalMachineTool {

namespace {

using Read = TalAM::MachineParametersSaxRead;
using TalAM::FieldKind;

// One entry of the visitor, owning its texts.
struct Entry {
  std::string path;
  FieldKind kind;
  std::string text;
  bool compared;
};

std::vector<Entry> Entries(const TalAM::MachineParameters& machine) {
  std::vector<Entry> entries;
  TalAM::FieldVisit visit(
      [&entries](const TalAM::FieldView& field) {
        entries.push_back(
            {std::string(field.path), field.kind, std::string(field.text), field.compared});
      },
      "Machine");
  machine.VisitFields(visit);
  return entries;
}

bool OpensLevel(FieldKind kind) {
  return kind == FieldKind::Block || kind == FieldKind::List || kind == FieldKind::Item ||
         kind == FieldKind::Mesh;
}

// Entries of `from` whose path `other` lacks, the topmost of each missing level only.
std::vector<std::string> Missing(const std::vector<Entry>& from,
                                 const std::map<std::string, const Entry*>& other) {
  std::vector<std::string> missing;
  for (const Entry& entry : from) {
    if (other.contains(entry.path)) continue;
    if (!missing.empty() && entry.path.starts_with(missing.back() + "/")) continue;
    missing.push_back(entry.path);
  }
  return missing;
}

std::map<std::string, const Entry*> ByPath(const std::vector<Entry>& entries) {
  std::map<std::string, const Entry*> byPath;
  for (const Entry& entry : entries)
    byPath.emplace(entry.path, &entry);
  return byPath;
}

// Kept elements by where they were read, numbered when one place holds several of a name.
std::map<std::string, const TalSDK::MSaxUnhandledElement*> KeptByPath(
    const TalSDK::MSaxPersistExtensibleObject::ElementList& elements) {
  std::map<std::string, const TalSDK::MSaxUnhandledElement*> byPath;
  std::map<std::string, int> seen;
  for (const TalSDK::MSaxUnhandledElement& element : elements) {
    const std::string path = KeptElementPath(element);
    const int number = ++seen[path];
    byPath.emplace(number == 1 ? path : path + "[" + std::to_string(number) + "]", &element);
  }
  return byPath;
}

// The value at `path` among the visitor's entries, or null.
const Entry* Find(const std::vector<Entry>& entries, std::string_view path) {
  for (const Entry& entry : entries) {
    if (entry.path == path) return &entry;
  }
  return nullptr;
}

// The element of a document that a visitor path names: "Machine/Platform/Overlap[2]" is the
// second "Overlap" inside "Platform" inside "Machine".
pugi::xml_node ElementAt(const pugi::xml_document& document, std::string_view path) {
  pugi::xml_node node = document;
  while (!path.empty() && node) {
    const std::size_t slash = path.find('/');
    std::string_view step = path.substr(0, slash);
    path = slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
    int number = 1;
    if (const std::size_t open = step.find('['); open != std::string_view::npos) {
      const std::string_view digits = step.substr(open + 1, step.size() - open - 2);
      if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec != std::errc()) {
        return {};
      }
      step = step.substr(0, open);
    }
    pugi::xml_node found;
    for (pugi::xml_node child : node.children(std::string(step).c_str())) {
      if (--number == 0) {
        found = child;
        break;
      }
    }
    node = found;
  }
  return node;
}

// `value` as the text of an element: markup characters and carriage returns as references.
std::string Escaped(std::string_view value) {
  std::string escaped;
  for (const char c : value) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '\r':
        escaped += "&#13;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

bool IsValue(FieldKind kind) {
  return !OpensLevel(kind) && kind != FieldKind::Settings;
}

// A visitor path a command was given, or a message that says why it is none.
const Entry* ValueEntry(const std::vector<Entry>& entries, const std::string& file,
                        const std::string& path, bool allowList) {
  const Entry* entry = Find(entries, path);
  if (entry == nullptr) {
    Error(ShownName(file) + ": no field " + Quoted(path) +
          " (tal-machine show --format json lists every path)");
    return nullptr;
  }
  if (!IsValue(entry->kind) && !(allowList && entry->kind == FieldKind::List)) {
    Error(ShownName(file) + ": " + Quoted(path) + " is a " +
          std::string(TalAM::FieldKindName(entry->kind)) + ", not a value");
    return nullptr;
  }
  return entry;
}

}  // namespace

int RunDiff(const std::string& first, const std::string& second, Policy policy) {
  TalAM::MachineParameters a, b;
  if (!LoadWarning(a, first, policy) || !LoadWarning(b, second, policy)) return kUsageError;
  // The verdict is the library's equality; the lines below only say where the files differ.
  if (a == b) return kSuccess;

  const std::vector<Entry> entriesA = Entries(a), entriesB = Entries(b);
  const auto byPathA = ByPath(entriesA), byPathB = ByPath(entriesB);
  std::size_t printed = 0;
  for (const Entry& entry : entriesA) {
    const auto other = byPathB.find(entry.path);
    if (other == byPathB.end() || !entry.compared || OpensLevel(entry.kind) ||
        entry.kind == FieldKind::List || entry.text == other->second->text) {
      continue;
    }
    std::cout << Printable(entry.path) << ": " << Printable(entry.text) << " → "
              << Printable(other->second->text);
    if (entry.kind == FieldKind::Length || entry.kind == FieldKind::Point) {
      std::cout << " (" << Millimetres(entry.text) << " mm → " << Millimetres(other->second->text)
                << " mm"
                << ")";
    }
    std::cout << '\n';
    ++printed;
  }

  const auto keptA = KeptByPath(KeptElements(a)), keptB = KeptByPath(KeptElements(b));
  for (const auto& [path, element] : keptA) {
    const auto other = keptB.find(path);
    if (other == keptB.end()) {
      std::cout << Printable(path) << ": kept element removed\n";
    } else if (!(*element == *other->second)) {
      std::cout << Printable(path) << ": kept element differs\n";
    } else {
      continue;
    }
    ++printed;
  }
  for (const auto& [path, element] : keptB) {
    if (keptA.contains(path)) continue;
    std::cout << Printable(path) << ": kept element added\n";
    ++printed;
  }

  for (const std::string& path : Missing(entriesA, byPathB)) {
    std::cout << Printable(path) << ": removed\n";
    ++printed;
  }
  for (const std::string& path : Missing(entriesB, byPathA)) {
    std::cout << Printable(path) << ": added\n";
    ++printed;
  }
  // Equality may see what no listed field shows (a kept element moved between blocks).
  if (printed == 0) std::cout << "Machine: differs where no field shows it\n";
  return kFailure;
}

int RunGet(const std::string& file, const std::string& path, Policy policy) {
  TalAM::MachineParameters machine;
  if (!LoadWarning(machine, file, policy)) return kFailure;
  const std::vector<Entry> entries = Entries(machine);
  const Entry* entry = ValueEntry(entries, file, path, true);
  if (entry == nullptr) return kFailure;
  std::cout << entry->text << '\n';
  return kSuccess;
}

int RunSet(const std::string& file, const std::string& path, const std::string& value,
           const std::string& out, bool force) {
  TalAM::MachineParameters machine;
  const TalAM::MachineLoadResult loaded = LoadMachine(machine, file, Read::KeepUnhandledElements);
  PrintDiagnostics(file, Diagnostics(loaded, machine, Read::KeepUnhandledElements, "warning"));
  if (!loaded.success || !MayWrite(file, loaded, force)) return kFailure;
  if (ValueEntry(Entries(machine), file, path, false) == nullptr) return kFailure;

  // The value goes into the document the machine saves, which is then read back: the new
  // text takes exactly the reading rules of a machine file.
  std::string text;
  std::wstring message;
  if (!TalAM::SaveMachineDocument(machine, text, message)) {
    Error(ShownName(file) + ": a block of the machine could not be written");
    return kFailure;
  }
  // pugixml finds the element; the text is changed in place, so that nothing else of the
  // document is written differently.
  pugi::xml_document document;
  if (!document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8)) {
    Error(ShownName(file) + ": cannot edit the saved machine");
    return kFailure;
  }
  const pugi::xml_node element = ElementAt(document, path);
  const std::ptrdiff_t nameAt = element ? element.offset_debug() : -1;
  const std::size_t startEnd = nameAt < 0 ? std::string::npos : text.find('>', nameAt);
  if (startEnd == std::string::npos) {
    Error(ShownName(file) + ": " + Quoted(path) +
          " has no element of its own in a machine file and cannot be set");
    return kFailure;
  }
  const std::string name = element.name();
  if (text[startEnd - 1] == '/') {
    text.replace(startEnd - 1, 2, ">" + Escaped(value) + "</" + name + ">");
  } else {
    const std::size_t endTag = text.find("</" + name + ">", startEnd);
    text.replace(startEnd + 1, endTag - startEnd - 1, Escaped(value));
  }

  TalAM::MachineParameters changed;
  const TalAM::MachineLoadResult result =
      TalAM::LoadMachineDocument(changed, text, ShownName(file), Read::KeepUnhandledElements);
  if (!result.success || !result.refusedElements.empty()) {
    Error(ShownName(file) + ": " + Quoted(value) + " is not a valid value for " + Quoted(path));
    return kFailure;
  }
  if (!result.lenientReadings.empty()) {
    Error(ShownName(file) + ": " + Quoted(value) + " is not a known text for " + Quoted(path) +
          "; it would be read as " + Quoted(result.lenientReadings.front().readAs));
    return kFailure;
  }
  return WriteMachine(changed, out.empty() ? file : out) ? kSuccess : kFailure;
}

}  // namespace TalMachineTool
