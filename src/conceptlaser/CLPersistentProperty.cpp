#include <TalSDK/conceptlaser/CLPersistentProperty.h>

#include <charconv>
#include <memory>
#include <string_view>

namespace {

constexpr std::string_view kItemTag = "Item";
constexpr std::string_view kIndexAttribute = "Index";

// Reads the "Item" elements of an indexed collection into it; anything else is refused.
template <class T>
class IndexedReader : public ISAXPersistHelper {
 public:
  explicit IndexedReader(IndexedProperties<T>& items) : m_items(items) {}
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override {
    if (tagName != kItemTag) return false;
    const auto text = reader.GetAttribute(kIndexAttribute);
    if (!text) return false;
    typename IndexedProperties<T>::Index index = 0;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), index);
    if (error != std::errc() || end != text->data() + text->size()) return false;
    return reader.DelegateToChild(m_items[index]);
  }

 private:
  IndexedProperties<T>& m_items;
};

template <class T>
bool WriteIndexed(const IndexedProperties<T>& items, TalSAX::ISAXWriter& writer) {
  for (const auto& [index, item] : items) {
    const MSAXTagWriter element(writer, kItemTag);
    writer.WriteAttribute(kIndexAttribute, std::to_string(index));
    item.Write(writer);
  }
  return true;
}

// The type names, in the order the Concept Laser creator compares them.
constexpr const wchar_t* kParametersName = L"CLParameters";
constexpr const wchar_t* kPlatformName = L"CLPlatformParameters";
constexpr const wchar_t* kPostProcessName = L"CLPlatformProcessParameters";
constexpr const wchar_t* kBuildName = L"CLBuildParameters";
constexpr const wchar_t* kScanningName = L"CLComponentProcessParameters";
constexpr const wchar_t* kIndexedScanningName = L"IndexedCLComponentProcessParameters";
constexpr const wchar_t* kIndexedPostProcessName = L"IndexedCLComponentPostProcessParameters";

template <class T>
IPersistentProperty* Make() {
  return new PersistentProperty<T>();
}

struct Kind {
  const wchar_t* typeName;
  IPersistentProperty* (*make)();
};

constexpr Kind kKinds[] = {
    {kParametersName, &Make<MCLParameters>},
    {kPlatformName, &Make<MCLPlatformParameters>},
    {kPostProcessName, &Make<MCLPostProcessParameters>},
    {kBuildName, &Make<MCLBuildParameters>},
    {kScanningName, &Make<MCLScanningParameters>},
    {kIndexedScanningName, &Make<IndexedProperties<MCLScanningParameters>>},
    {kIndexedPostProcessName, &Make<IndexedProperties<MCLPostProcessParameters>>},
};

// The library's creators, known to host documents from load to unload. Each creator takes
// its type name from a default value when it is constructed.
PersistentPropertySaxHandlerConceptLaser g_conceptLaserCreator;
PersistentPropertyCreator<MCLParameters> g_parametersCreator;
PersistentPropertyCreator<MCLScanningParameters> g_scanningCreator;
PersistentPropertyCreator<IndexedProperties<MCLScanningParameters>> g_indexedScanningCreator;

}  // namespace

template <class T>
std::wstring GetTypeOfProperty(const T&) {
  if constexpr (std::is_same_v<T, MCLParameters>) {
    return kParametersName;
  } else if constexpr (std::is_same_v<T, MCLPlatformParameters>) {
    return kPlatformName;
  } else if constexpr (std::is_same_v<T, MCLPostProcessParameters>) {
    return kPostProcessName;
  } else if constexpr (std::is_same_v<T, MCLBuildParameters>) {
    return kBuildName;
  } else if constexpr (std::is_same_v<T, MCLScanningParameters>) {
    return kScanningName;
  } else if constexpr (std::is_same_v<T, IndexedProperties<MCLScanningParameters>>) {
    return kIndexedScanningName;
  } else {
    static_assert(std::is_same_v<T, IndexedProperties<MCLPostProcessParameters>>);
    return kIndexedPostProcessName;
  }
}

template <class T>
bool HandleValueOfProperty(T& value, TalSAX::ISAXReader& reader) {
  reader.DelegateToChild(value);
  return true;
}

template <class T>
bool WriteValueOfProperty(const T& value, TalSAX::ISAXWriter& writer) {
  value.Write(writer);
  return true;
}

template <class T>
void ReadValueOfProperty(T&, MFile&) {}

template <class T>
void WriteValueOfProperty(const T&, MFile&) {}

template <>
bool HandleValueOfProperty(IndexedProperties<MCLScanningParameters>& value,
                           TalSAX::ISAXReader& reader) {
  reader.DelegateToOwnedChild(new IndexedReader<MCLScanningParameters>(value));
  return true;
}

template <>
bool HandleValueOfProperty(IndexedProperties<MCLPostProcessParameters>& value,
                           TalSAX::ISAXReader& reader) {
  reader.DelegateToOwnedChild(new IndexedReader<MCLPostProcessParameters>(value));
  return true;
}

template <>
bool WriteValueOfProperty(const IndexedProperties<MCLScanningParameters>& value,
                          TalSAX::ISAXWriter& writer) {
  return WriteIndexed(value, writer);
}

template <>
bool WriteValueOfProperty(const IndexedProperties<MCLPostProcessParameters>& value,
                          TalSAX::ISAXWriter& writer) {
  return WriteIndexed(value, writer);
}

#define TALSDK_CL_PROPERTY_FUNCTIONS(T)                              \
  template std::wstring GetTypeOfProperty(const T&);                 \
  template bool HandleValueOfProperty(T&, TalSAX::ISAXReader&);      \
  template bool WriteValueOfProperty(const T&, TalSAX::ISAXWriter&); \
  template void ReadValueOfProperty(T&, MFile&);                     \
  template void WriteValueOfProperty(const T&, MFile&);              \
  template class PersistentProperty<T>;

TALSDK_CL_PROPERTY_FUNCTIONS(MCLParameters)
TALSDK_CL_PROPERTY_FUNCTIONS(MCLPlatformParameters)
TALSDK_CL_PROPERTY_FUNCTIONS(MCLPostProcessParameters)
TALSDK_CL_PROPERTY_FUNCTIONS(MCLBuildParameters)
TALSDK_CL_PROPERTY_FUNCTIONS(MCLScanningParameters)
#undef TALSDK_CL_PROPERTY_FUNCTIONS

template std::wstring GetTypeOfProperty(const IndexedProperties<MCLScanningParameters>&);
template std::wstring GetTypeOfProperty(const IndexedProperties<MCLPostProcessParameters>&);
template class PersistentProperty<IndexedProperties<MCLScanningParameters>>;
template class PersistentProperty<IndexedProperties<MCLPostProcessParameters>>;
template class PersistentPropertyCreator<MCLParameters>;
template class PersistentPropertyCreator<MCLScanningParameters>;
template class PersistentPropertyCreator<IndexedProperties<MCLScanningParameters>>;

PersistentPropertySaxHandlerConceptLaser::~PersistentPropertySaxHandlerConceptLaser() = default;

IPersistentProperty* PersistentPropertySaxHandlerConceptLaser::create(
    const std::wstring& typeName) {
  for (const Kind& kind : kKinds) {
    if (typeName == kind.typeName) return kind.make();
  }
  return nullptr;
}
