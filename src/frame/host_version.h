// The version of the host the library runs in, and the host versions at which what the library
// registers or how it builds strings changes. Versions are the host's numbers: year plus
// release / 100 (2013r4 is 2013.04).
#pragma once

extern double rbversion;  // host version, 0.0 until known

// From 2010.029 a flags word's hidden "all targets" bit is honoured (set as the console-safe
// bit); earlier hosts get it only cleared.
constexpr double kHostHonoursHiddenAllTargets = 2010.029;
// From 2012.0 strings are built with their encoding in one call; record version 10.
constexpr double kHostBuildsEncodedStrings = 2012.0;
// From 2013.0 the member is registered as a module of extension methods; record version 11.
constexpr double kHostTakesExtensionModules = 2013.0;
// The same hosts build strings from UTF-32 themselves.
constexpr double kHostBuildsUTF32Strings = kHostTakesExtensionModules;
constexpr double kHostRecordVersion12 = 2013.03;
constexpr double kHostRecordVersion13 = 2013.04;
// From 2020r2 the host knows the desktop, web and console target bits.
constexpr double kHostKnowsTargetBits = 2020.02;
// From 3000.0 on the member is registered as a class extension again.
constexpr double kHostTakesClassExtensionsAgain = 3000.0;
