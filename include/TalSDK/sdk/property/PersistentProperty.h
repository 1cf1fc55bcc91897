#pragma once
// Typed property values of host documents. A host document (MPropertyDocument) holds named
// properties; each property owns one value, knows its type name, reads and writes the value
// through the tag reader and writer, and carries three flags and a modification state.
//
// The order of the virtual operations of IPersistentProperty is part of the contract, as for
// ISAXPersistBase: property implementations of other libraries rely on it.

#include <cstdint>
#include <memory>
#include <string>

#include <TalSDK/SDKExport.h>

namespace TalSAX {
class ISAXReader;
class ISAXWriter;
}  // namespace TalSAX

class IPersistentPropertyPolymorphicValue;

class TALSDK_SDK_EXPORT IPersistentProperty {
 public:
  virtual ~IPersistentProperty();

  // 1: whether GetTypeOfProperty() is `typeName`.
  virtual bool IsOfType(const std::wstring& typeName) const;
  // 2: a new property of the same type made by the registered creators, then assigned from
  // this one (value and locked flag); null when no creator knows the type.
  virtual std::unique_ptr<IPersistentProperty> Clone() const;

  // 3: takes over the value of `other`, which must be a property of the same type, and its
  // locked flag. Returns this, or null (and changes nothing) for another type.
  virtual IPersistentProperty* Assign(const IPersistentProperty& other) = 0;

  // 4, 5: locked (default false): the application does not let the user edit the value.
  virtual bool GetLocked() const = 0;
  virtual void SetLocked(bool locked) = 0;
  // 6, 7: visible (default true): the application shows the property.
  virtual bool GetVisible() const = 0;
  virtual void SetVisible(bool visible) = 0;
  // 8, 9: persistent (default true): MPropertyDocument saves the property; one that is not
  // persistent lives only as long as the document is open.
  virtual bool GetPersistent() const = 0;
  virtual void SetPersistent(bool persistent) = 0;

  // 10: the modified bit (bit 0 of the state word).
  virtual bool IsModified() const = 0;
  // 11: whether the modified bit was ever set or cleared (bit 1 of the state word).
  virtual bool IsModificationTracked() const = 0;
  // 12: sets or clears the modified bit, and always marks the modification as tracked.
  virtual void SetModified(bool modified) = 0;
  // 13 to 15: the whole state word.
  virtual std::uint32_t GetState() const = 0;
  virtual void SetState(std::uint32_t state) = 0;
  virtual void ClearState() = 0;

  // 16: writes the value as the content of the element the caller opened.
  virtual bool WriteValue(TalSAX::ISAXWriter& writer) const = 0;
  // 17: from inside HandleTag of the element holding the value: reads its content.
  virtual bool HandleValue(TalSAX::ISAXReader& reader) = 0;
  // 18: the type name, by which creators make properties of this type.
  virtual std::wstring GetTypeOfProperty() const = 0;
  // 19, 20: the value, when it implements IPersistentPropertyPolymorphicValue; else null.
  virtual IPersistentPropertyPolymorphicValue* GetPolymorphicValue() = 0;
  virtual const IPersistentPropertyPolymorphicValue* GetPolymorphicValue() const = 0;

 protected:
  IPersistentProperty() = default;
  IPersistentProperty(const IPersistentProperty&) = default;
  IPersistentProperty& operator=(const IPersistentProperty&) = default;
};

// A property whose earlier value can be restored: the application's undo keeps a Clone()
// and assigns it back with Assign().
class TALSDK_SDK_EXPORT IPersistentPropertyUndo {
 public:
  virtual ~IPersistentPropertyUndo();

 protected:
  IPersistentPropertyUndo() = default;
  IPersistentPropertyUndo(const IPersistentPropertyUndo&) = default;
  IPersistentPropertyUndo& operator=(const IPersistentPropertyUndo&) = default;
};

// A value reached through a property without knowing its static type.
class TALSDK_SDK_EXPORT IPersistentPropertyPolymorphicValue {
 public:
  virtual ~IPersistentPropertyPolymorphicValue();
  // The name of the value's own class, which may differ from the property's type name.
  virtual std::wstring GetValueTypeName() const = 0;

 protected:
  IPersistentPropertyPolymorphicValue() = default;
  IPersistentPropertyPolymorphicValue(const IPersistentPropertyPolymorphicValue&) = default;
  IPersistentPropertyPolymorphicValue& operator=(const IPersistentPropertyPolymorphicValue&) =
      default;
};

// A value that combines another value of its type into itself instead of being replaced by
// it when a property is assigned.
class TALSDK_SDK_EXPORT IMergeablePropertyValue {
 public:
  virtual ~IMergeablePropertyValue();
  // `other` has the dynamic type of this value. With `overwrite`, what both hold takes the
  // other's value; otherwise this value's is kept and only what it lacks is added.
  virtual void MergePropertyValue(const IMergeablePropertyValue& other, bool overwrite) = 0;

 protected:
  IMergeablePropertyValue() = default;
  IMergeablePropertyValue(const IMergeablePropertyValue&) = default;
  IMergeablePropertyValue& operator=(const IMergeablePropertyValue&) = default;
};
