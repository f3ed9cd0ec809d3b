// Decoding of the registration records the plug-in hands over. Like the IDE, the host reads
// only the part of each record that exists for the record's version, and steps through arrays
// of method and property records with the element size of that version.
#include <cstddef>
#include <cstring>

#include "host_state.h"

namespace simhost {
namespace {

// Version that added the flags word to method and class records (the IDE's history places it
// at 7 or 8), the one that added shared members and module properties, and the one that added
// attributes (and with them the current element sizes).
constexpr uint32_t kFlagsVersion = 7;
constexpr uint32_t kSharedVersion = 9;
constexpr uint32_t kAttributesVersion = 10;
constexpr uint32_t kModuleFlagsVersion = 14;

// Larger counts are taken as a broken record rather than read.
constexpr size_t kMaxEntries = 100000;

template <typename T>
T Field(const void* record, size_t offset) {
  T value;
  std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof value);
  return value;
}

std::string Text(const char* p) {
  return p != nullptr ? std::string(p) : std::string();
}

std::vector<std::pair<std::string, std::string>> Attributes(const REALattribute* list,
                                                            size_t count) {
  std::vector<std::pair<std::string, std::string>> attributes;
  if (list == nullptr || count > kMaxEntries) return attributes;
  for (size_t i = 0; i < count; ++i) {
    attributes.emplace_back(Text(list[i].name), Text(list[i].value));
  }
  return attributes;
}

size_t MethodStride(uint32_t version) {
  if (version >= kAttributesVersion) return sizeof(REALmethodDefinition);
  // Without attributes the record ends after the flags word (padded to pointer alignment);
  // before the flags word it is three pointers.
  return version >= kFlagsVersion ? offsetof(REALmethodDefinition, attributeCount)
                                  : offsetof(REALmethodDefinition, flags);
}

size_t PropertyStride(uint32_t version) {
  return version >= kAttributesVersion ? sizeof(REALproperty)
                                       : offsetof(REALproperty, attributeCount);
}

// The attribute list of a method or property record of type T.
template <typename T>
std::vector<std::pair<std::string, std::string>> AttributesOf(const char* record) {
  return Attributes(Field<REALattribute*>(record, offsetof(T, attributes)),
                    Field<size_t>(record, offsetof(T, attributeCount)));
}

// Appends read(element) for each of count elements of stride bytes from list; a missing list
// or an implausible count adds nothing.
template <typename Record, typename Read>
void AppendRecords(const void* list, size_t count, size_t stride, std::vector<Record>* out,
                   Read read) {
  if (list == nullptr || count > kMaxEntries) return;
  for (size_t i = 0; i < count; ++i)
    out->push_back(read(static_cast<const char*>(list) + i * stride));
}

void AppendMethods(const void* list, size_t count, uint32_t version,
                   std::vector<MethodRecord>* out) {
  AppendRecords(list, count, MethodStride(version), out, [version](const char* m) {
    MethodRecord record;
    record.function = Field<REALproc>(m, offsetof(REALmethodDefinition, function));
    record.setter = Field<REALproc>(m, offsetof(REALmethodDefinition, setterFunction));
    record.declaration = Text(Field<const char*>(m, offsetof(REALmethodDefinition, declaration)));
    if (version >= kFlagsVersion) {
      record.flags = Field<uint32_t>(m, offsetof(REALmethodDefinition, flags));
    }
    if (version >= kAttributesVersion) record.attributes = AttributesOf<REALmethodDefinition>(m);
    return record;
  });
}

void AppendProperties(const void* list, size_t count, uint32_t version,
                      std::vector<PropertyRecord>* out) {
  AppendRecords(list, count, PropertyStride(version), out, [version](const char* p) {
    PropertyRecord record;
    record.name = Text(Field<const char*>(p, offsetof(REALproperty, name)));
    record.type = Text(Field<const char*>(p, offsetof(REALproperty, type)));
    record.flags = Field<uint32_t>(p, offsetof(REALproperty, flags));
    record.getter = Field<REALproc>(p, offsetof(REALproperty, getter));
    record.setter = Field<REALproc>(p, offsetof(REALproperty, setter));
    if (version >= kAttributesVersion) record.attributes = AttributesOf<REALproperty>(p);
    return record;
  });
}

// What every registration starts with: its kind, the record, the record's version and name.
template <typename Definition>
Registration Named(Registration::Kind kind, const Definition* d) {
  Registration r;
  r.kind = kind;
  r.record = d;
  r.version = d->version;
  r.name = Text(d->name);
  return r;
}

}  // namespace

Registration DecodeClassExtension(const REALclassDefinition* d) {
  Registration r = Named(Registration::Kind::kClassExtension, d);
  if (r.version >= kFlagsVersion) r.flags = d->flags;
  AppendMethods(d->methods, d->methodCount, r.version, &r.methods);
  AppendProperties(d->properties, d->propertyCount, r.version, &r.properties);
  if (r.version >= kSharedVersion) {
    AppendMethods(d->sharedMethods, d->sharedMethodCount, r.version, &r.methods);
    AppendProperties(d->sharedProperties, d->sharedPropertyCount, r.version, &r.properties);
  }
  return r;
}

Registration DecodeModule(const REALmoduleDefinition* d) {
  Registration r = Named(Registration::Kind::kModule, d);
  AppendMethods(d->methods, d->methodCount, r.version, &r.methods);
  if (r.version >= kSharedVersion) {
    AppendProperties(d->properties, d->propertyCount, r.version, &r.properties);
  }
  // The flags word lies beyond the end of records older than version 14.
  if (r.version >= kModuleFlagsVersion) r.flags = d->flags;
  return r;
}

}  // namespace simhost
