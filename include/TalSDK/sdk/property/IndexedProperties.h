#pragma once
// A collection of values addressed by an integer index, kept in index order. Indices need not
// be contiguous; looking up an index that holds nothing creates a default value there.

#include <cstddef>
#include <map>

#include <TalSDK/SDKExport.h>

template <class T>
class TALSDK_SDK_EXPORT IndexedProperties {
 public:
  using Index = int;
  using Storage = std::map<Index, T>;

  IndexedProperties() = default;
  IndexedProperties(const IndexedProperties&) = default;
  IndexedProperties(IndexedProperties&&) noexcept = default;
  IndexedProperties& operator=(const IndexedProperties&) = default;
  IndexedProperties& operator=(IndexedProperties&&) noexcept = default;
  virtual ~IndexedProperties() = default;

  // Same indices holding equal values.
  bool operator==(const IndexedProperties& other) const { return m_items == other.m_items; }
  bool operator!=(const IndexedProperties& other) const { return !(*this == other); }

  // The value at `index`, created with its defaults when absent.
  T& operator[](Index index) { return m_items[index]; }
  T* Find(Index index) {
    const auto found = m_items.find(index);
    return found == m_items.end() ? nullptr : &found->second;
  }
  const T* Find(Index index) const {
    const auto found = m_items.find(index);
    return found == m_items.end() ? nullptr : &found->second;
  }
  // False when nothing was at `index`.
  bool Erase(Index index) { return m_items.erase(index) != 0; }
  void Clear() { m_items.clear(); }

  std::size_t GetCount() const { return m_items.size(); }
  bool IsEmpty() const { return m_items.empty(); }
  typename Storage::const_iterator begin() const { return m_items.begin(); }
  typename Storage::const_iterator end() const { return m_items.end(); }

 private:
  Storage m_items;
};
