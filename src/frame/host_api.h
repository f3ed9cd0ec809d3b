// The host's plug-in interface as this library sees it: scalar types, handles, registration
// records and the string-data record. Written from the host's published record layouts
// (control version 15); the static assertions at the end pin every size and offset so that a
// layout mistake fails the build instead of corrupting the host.
#pragma once

#include <cstddef>
#include <cstdint>

// Every host service and every entry point the host calls uses the platform's default C
// convention; on 32-bit Windows it is spelled out so a project-wide /Gz cannot change it.
#if defined(_WIN32) && !defined(_WIN64)
#define RBCALL __cdecl
#else
#define RBCALL
#endif

// The language's Integer: 64-bit on 64-bit hosts, 32-bit on 32-bit hosts. Every value that
// crosses into the host uses this type, even where the library computes in 64 bits.
#if defined(__LP64__) || defined(_WIN64)
typedef int64_t RBInteger;
typedef uint64_t RBUInteger;
#define RB_HOST_64BIT 1
#else
typedef int32_t RBInteger;
typedef uint32_t RBUInteger;
#define RB_HOST_64BIT 0
#endif

typedef int8_t RBBoolean;  // any non-zero value is true
typedef uint32_t RBColor;  // 0x00RRGGBB, high byte passed through unchanged

struct REALstringStruct;  // opaque host string
struct REALobjectStruct;  // opaque host object
typedef REALstringStruct* REALstring;
typedef REALobjectStruct* REALobject;
typedef struct REALclassRefStruct* REALclassRef;

typedef void(RBCALL* REALproc)(void);

// The resolver the host hands to REALPluginMain: service name in, entry point (or null) out.
typedef void*(RBCALL* REALResolver)(const char* serviceName);

// Host text encodings (numbering of the macOS Text Encoding Converter).
constexpr uint32_t kREALTextEncodingMacRoman = 0x0000;
constexpr uint32_t kREALTextEncodingUTF16 = 0x0100;
constexpr uint32_t kREALTextEncodingISOLatin1 = 0x0201;
constexpr uint32_t kREALTextEncodingWindowsLatin1 = 0x0500;
constexpr uint32_t kREALTextEncodingASCII = 0x0600;
constexpr uint32_t kREALTextEncodingUnknown = 0xFFFF;
constexpr uint32_t kREALTextEncodingUTF8 = 0x08000100;
constexpr uint32_t kREALTextEncodingUTF32 = 0x0C000100;
constexpr uint32_t kREALTextEncodingUTF16BE = 0x10000100;
constexpr uint32_t kREALTextEncodingUTF16LE = 0x14000100;
constexpr uint32_t kREALTextEncodingUTF32BE = 0x18000100;
constexpr uint32_t kREALTextEncodingUTF32LE = 0x1C000100;

// Flags words of methods, properties, classes and modules.
constexpr uint32_t REALpropInvalidate = 0x1;   // obsolete
constexpr uint32_t REALpropRuntimeOnly = 0x2;  // REALTargetRuntimeOnly
constexpr uint32_t REALconsoleSafe = 0x4;      // REALTargetAll
constexpr uint32_t REALconsoleOnly = 0x8;
constexpr uint32_t REALScopeGlobal = 0x10;
constexpr uint32_t REALScopePublic = 0x20;
constexpr uint32_t REALScopeProtected = 0x40;
constexpr uint32_t REALScopePrivate = 0x80;
constexpr uint32_t REALwebOnly = 0x100;
constexpr uint32_t REALTargetDesktop = 0x200;
constexpr uint32_t REALTargetIOS = 0x400;

struct REALattribute {
  const char* name;
  const char* value;
};

struct REALmethodDefinition {
  REALproc function;
  REALproc setterFunction;
  const char* declaration;
  uint32_t flags;
  size_t attributeCount;
  REALattribute* attributes;
};

struct REALproperty {
  const char* group;
  const char* name;
  const char* type;
  uint32_t flags;
  REALproc getter;
  REALproc setter;
  int32_t param;
  REALproc editor;
  size_t enumCount;
  const char** enumEntries;
  size_t attributeCount;
  REALattribute* attributes;
};

struct REALconstant {
  const char* declaration;
  void* reserved;
  uint32_t flags;
  size_t attributeCount;
  REALattribute* attributes;
};

struct REALenum {
  const char* name;
  const char* type;
  uint32_t flags;
  const char** entries;
  size_t entryCount;
  size_t attributeCount;
  REALattribute* attributes;
};

struct REALstructure {
  const char* name;
  uint32_t flags;
  const char** fields;
  size_t fieldCount;
  size_t attributeCount;
  REALattribute* attributes;
};

struct REALdelegate {
  const char* declaration;
  uint32_t flags;
  size_t attributeCount;
  REALattribute* attributes;
};

struct REALevent {
  const char* declaration;
  RBInteger forSystemUse;
  size_t attributeCount;
  REALattribute* attributes;
};

struct REALeventInstance {
  const char* name;
  REALproc implementation;
};

struct REALinterfaceDefinition {
  uint32_t version;
  const char* name;
  REALmethodDefinition* methods;
  size_t methodCount;
  REALattribute* attributes;
  size_t attributeCount;
};

struct REALclassDefinition {
  uint32_t version;
  const char* name;
  const char* superName;
  size_t dataSize;
  RBInteger forSystemUse;
  REALproc constructor;
  REALproc destructor;
  REALproperty* properties;
  size_t propertyCount;
  REALmethodDefinition* methods;
  size_t methodCount;
  REALevent* events;
  size_t eventCount;
  REALeventInstance* eventInstances;
  size_t eventInstanceCount;
  const char* interfaces;
  REALattribute* attributes;
  size_t attributeCount;
  REALconstant* constants;
  size_t constantCount;
  uint32_t flags;
  REALproperty* sharedProperties;
  size_t sharedPropertyCount;
  REALmethodDefinition* sharedMethods;
  size_t sharedMethodCount;
  REALdelegate* delegates;
  size_t delegateCount;
  REALenum* enums;
  size_t enumCount;
};

struct REALmoduleDefinition {
  uint32_t version;
  const char* name;
  REALmethodDefinition* methods;
  size_t methodCount;
  REALconstant* constants;
  size_t constantCount;
  REALproperty* properties;
  size_t propertyCount;
  REALstructure* structures;
  size_t structureCount;
  REALenum* enums;
  size_t enumCount;
  REALattribute* attributes;
  size_t attributeCount;
  REALdelegate* delegates;
  size_t delegateCount;
  REALclassDefinition** classes;
  size_t classesCount;
  REALinterfaceDefinition* interfaces;
  size_t interfaceCount;
  struct REALmoduleDefinition** modules;
  size_t moduleCount;
  void** controls;
  size_t controlCount;
  uint32_t flags;
  void** mobileControls;
  size_t mobileControlCount;
};

// Points a record's list and its count at a whole array, so that the count always matches it.
template <typename T, size_t N>
inline void PointAt(T*& list, size_t& count, T (&entries)[N]) {
  list = entries;
  count = N;
}

// Filled by the host's string-data service, given back exactly once with its dispose service
// (PluginGetStringData, PluginDisposeStringData).
struct REALstringData {
  const void* data;
  size_t length;
  uint32_t encoding;
  const void* private1;
  uint32_t private2;
};

// Layout pins. 64-bit: LP64 and LLP64 share every layout here; 32-bit: ILP32.
#define RB_PIN(type, field, off64, off32) \
  static_assert(offsetof(type, field) == (RB_HOST_64BIT ? (off64) : (off32)), #type "." #field)
#define RB_SIZE(type, size64, size32) \
  static_assert(sizeof(type) == (RB_HOST_64BIT ? (size64) : (size32)), "sizeof " #type)

RB_SIZE(REALattribute, 16, 8);
RB_PIN(REALattribute, value, 8, 4);

RB_SIZE(REALmethodDefinition, 48, 24);
RB_PIN(REALmethodDefinition, setterFunction, 8, 4);
RB_PIN(REALmethodDefinition, declaration, 16, 8);
RB_PIN(REALmethodDefinition, flags, 24, 12);
RB_PIN(REALmethodDefinition, attributeCount, 32, 16);
RB_PIN(REALmethodDefinition, attributes, 40, 20);

RB_SIZE(REALproperty, 96, 48);
RB_PIN(REALproperty, name, 8, 4);
RB_PIN(REALproperty, type, 16, 8);
RB_PIN(REALproperty, flags, 24, 12);
RB_PIN(REALproperty, getter, 32, 16);
RB_PIN(REALproperty, setter, 40, 20);
RB_PIN(REALproperty, param, 48, 24);
RB_PIN(REALproperty, editor, 56, 28);
RB_PIN(REALproperty, enumCount, 64, 32);
RB_PIN(REALproperty, enumEntries, 72, 36);
RB_PIN(REALproperty, attributeCount, 80, 40);
RB_PIN(REALproperty, attributes, 88, 44);

RB_SIZE(REALconstant, 40, 20);
RB_SIZE(REALenum, 56, 28);
RB_SIZE(REALstructure, 48, 24);
RB_SIZE(REALdelegate, 32, 16);
RB_SIZE(REALevent, 32, 16);
RB_SIZE(REALeventInstance, 16, 8);
RB_SIZE(REALinterfaceDefinition, 48, 24);

RB_SIZE(REALclassDefinition, 232, 116);
RB_PIN(REALclassDefinition, name, 8, 4);
RB_PIN(REALclassDefinition, superName, 16, 8);
RB_PIN(REALclassDefinition, dataSize, 24, 12);
RB_PIN(REALclassDefinition, forSystemUse, 32, 16);
RB_PIN(REALclassDefinition, constructor, 40, 20);
RB_PIN(REALclassDefinition, destructor, 48, 24);
RB_PIN(REALclassDefinition, properties, 56, 28);
RB_PIN(REALclassDefinition, propertyCount, 64, 32);
RB_PIN(REALclassDefinition, methods, 72, 36);
RB_PIN(REALclassDefinition, methodCount, 80, 40);
RB_PIN(REALclassDefinition, events, 88, 44);
RB_PIN(REALclassDefinition, eventCount, 96, 48);
RB_PIN(REALclassDefinition, eventInstances, 104, 52);
RB_PIN(REALclassDefinition, eventInstanceCount, 112, 56);
RB_PIN(REALclassDefinition, interfaces, 120, 60);
RB_PIN(REALclassDefinition, attributes, 128, 64);
RB_PIN(REALclassDefinition, attributeCount, 136, 68);
RB_PIN(REALclassDefinition, constants, 144, 72);
RB_PIN(REALclassDefinition, constantCount, 152, 76);
RB_PIN(REALclassDefinition, flags, 160, 80);
RB_PIN(REALclassDefinition, sharedProperties, 168, 84);
RB_PIN(REALclassDefinition, sharedPropertyCount, 176, 88);
RB_PIN(REALclassDefinition, sharedMethods, 184, 92);
RB_PIN(REALclassDefinition, sharedMethodCount, 192, 96);
RB_PIN(REALclassDefinition, delegates, 200, 100);
RB_PIN(REALclassDefinition, delegateCount, 208, 104);
RB_PIN(REALclassDefinition, enums, 216, 108);
RB_PIN(REALclassDefinition, enumCount, 224, 112);

RB_SIZE(REALmoduleDefinition, 216, 108);
RB_PIN(REALmoduleDefinition, name, 8, 4);
RB_PIN(REALmoduleDefinition, methods, 16, 8);
RB_PIN(REALmoduleDefinition, methodCount, 24, 12);
RB_PIN(REALmoduleDefinition, constants, 32, 16);
RB_PIN(REALmoduleDefinition, constantCount, 40, 20);
RB_PIN(REALmoduleDefinition, properties, 48, 24);
RB_PIN(REALmoduleDefinition, propertyCount, 56, 28);
RB_PIN(REALmoduleDefinition, structures, 64, 32);
RB_PIN(REALmoduleDefinition, structureCount, 72, 36);
RB_PIN(REALmoduleDefinition, enums, 80, 40);
RB_PIN(REALmoduleDefinition, enumCount, 88, 44);
RB_PIN(REALmoduleDefinition, attributes, 96, 48);
RB_PIN(REALmoduleDefinition, attributeCount, 104, 52);
RB_PIN(REALmoduleDefinition, delegates, 112, 56);
RB_PIN(REALmoduleDefinition, delegateCount, 120, 60);
RB_PIN(REALmoduleDefinition, classes, 128, 64);
RB_PIN(REALmoduleDefinition, classesCount, 136, 68);
RB_PIN(REALmoduleDefinition, interfaces, 144, 72);
RB_PIN(REALmoduleDefinition, interfaceCount, 152, 76);
RB_PIN(REALmoduleDefinition, modules, 160, 80);
RB_PIN(REALmoduleDefinition, moduleCount, 168, 84);
RB_PIN(REALmoduleDefinition, controls, 176, 88);
RB_PIN(REALmoduleDefinition, controlCount, 184, 92);
RB_PIN(REALmoduleDefinition, flags, 192, 96);
RB_PIN(REALmoduleDefinition, mobileControls, 200, 100);
RB_PIN(REALmoduleDefinition, mobileControlCount, 208, 104);

RB_SIZE(REALstringData, 40, 20);
RB_PIN(REALstringData, length, 8, 4);
RB_PIN(REALstringData, encoding, 16, 8);
RB_PIN(REALstringData, private1, 24, 12);
RB_PIN(REALstringData, private2, 32, 16);

#undef RB_PIN
#undef RB_SIZE
