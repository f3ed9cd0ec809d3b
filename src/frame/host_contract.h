// The host contract as C++: for every service of host_contract.def its resolver name and C
// shapes, for every host method its declaration and C shape, for every property its name, and
// the lists as tables. The
// library's wrappers, the simulated host and the tests all take names and shapes from here.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/host_api.h"

namespace host_contract {

// <Id>Fn: a service as the library calls it; <Id>HostFn: as the host declares it (the same but
// for the width of some boolean-like results); k<Id>Name: its resolver name.
#define HOST_SERVICE(Id, Text, Declared, Read, Params, Neutral, Since) \
  typedef Read(RBCALL* Id##Fn) Params;                                 \
  typedef Declared(RBCALL* Id##HostFn) Params;                         \
  constexpr const char k##Id##Name[] = Text;
#define HOST_START_SERVICE HOST_SERVICE
#define HOST_EXTRA_SERVICE HOST_SERVICE
// <Id>Fn: a host method's C shape; k<Id>Declaration: the declaration it is looked up by.
#define HOST_GLOBAL_METHOD(Id, Text, Result, Params) \
  typedef Result(RBCALL* Id##Fn) Params;             \
  constexpr const char k##Id##Declaration[] = Text;
#define HOST_OBJECT_METHOD HOST_GLOBAL_METHOD
// k<Id>Property: a property's name.
#define HOST_PROPERTY(Id, Text, Classes, Type) constexpr const char k##Id##Property[] = Text;
#include "frame/host_contract.def"

// How the library uses a service.
enum class ServiceUse {
  kCached,   // resolved on first use, kept once found, looked up again while missing
  kAtStart,  // resolved once by the entry point
  kUnused,   // offered by hosts, not asked for by the library
};

struct ServiceRow {
  const char* name;
  ServiceUse use;
  double since;  // first host version that offers it; 0 when every host does
};

inline constexpr ServiceRow kServices[] = {
#define HOST_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since) \
  {Name, ServiceUse::kCached, Since},
#define HOST_START_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since) \
  {Name, ServiceUse::kAtStart, Since},
#define HOST_EXTRA_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since) \
  {Name, ServiceUse::kUnused, Since},
#include "frame/host_contract.def"
};

struct MethodRow {
  const char* declaration;
  bool global;  // a framework global; otherwise a StyledText method
};

inline constexpr MethodRow kMethods[] = {
#define HOST_GLOBAL_METHOD(Id, Declaration, Result, Params) {Declaration, true},
#define HOST_OBJECT_METHOD(Id, Declaration, Result, Params) {Declaration, false},
#include "frame/host_contract.def"
};

struct PropertyRow {
  const char* name;
  const char* classes;  // the classes the library uses it on
  const char* type;
};

inline constexpr PropertyRow kProperties[] = {
#define HOST_PROPERTY(Id, Name, Classes, Type) {Name, Classes, Type},
#include "frame/host_contract.def"
};

}  // namespace host_contract
