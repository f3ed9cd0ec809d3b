// The simulated host's options for a test that needs a particular host: the version it reports
// (nullopt: it has no version service) and the services it withholds.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>

#include "simhost/host.h"

namespace test_support {

inline simhost::Options HostOptions(std::optional<double> version,
                                    std::set<std::string> withheld = {}) {
  simhost::Options options;
  options.version = version;
  options.withheld = std::move(withheld);
  return options;
}

}  // namespace test_support
