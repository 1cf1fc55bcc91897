#include <TalSDK/persistence/FieldVisit.h>

#include <utility>

namespace TalAM {

std::string_view FieldKindName(FieldKind kind) {
  switch (kind) {
    case FieldKind::Bool:
      return "bool";
    case FieldKind::Integer:
      return "integer";
    case FieldKind::Length:
      return "length";
    case FieldKind::Float:
      return "float";
    case FieldKind::Double:
      return "double";
    case FieldKind::String:
      return "string";
    case FieldKind::Enumeration:
      return "enumeration";
    case FieldKind::Point:
      return "point";
    case FieldKind::Color:
      return "color";
    case FieldKind::Mesh:
      return "mesh";
    case FieldKind::Settings:
      return "settings";
    case FieldKind::Block:
      return "block";
    case FieldKind::List:
      return "list";
    case FieldKind::Item:
      return "item";
  }
  return "unknown";
}

FieldVisit::FieldVisit(std::function<void(const FieldView&)> visitor, std::string root)
    : m_visitor(std::move(visitor)), m_path(std::move(root)) {}

void FieldVisit::Value(std::string_view tag, FieldKind kind, std::string_view text) {
  const std::size_t length = m_path.size();
  if (!m_path.empty()) m_path += '/';
  m_path += tag;
  m_visitor(FieldView{m_path, tag, kind, text, m_notCompared == 0});
  m_path.resize(length);
}

void FieldVisit::Enter(std::string_view tag, FieldKind kind, std::string_view text) {
  m_levels.push_back(m_path.size());
  if (!m_path.empty()) m_path += '/';
  m_path += tag;
  m_visitor(FieldView{m_path, tag, kind, text, m_notCompared == 0});
}

void FieldVisit::Leave() {
  if (m_levels.empty()) return;
  m_path.resize(m_levels.back());
  m_levels.pop_back();
}

}  // namespace TalAM
