// The resolver every cached wrapper asks and the entry points it found.
#include "frame/host_services.h"

REALResolver gResolver = nullptr;

void ResetHostEntryPoints() {
  gHostEntryPoints = HostEntryPoints{};
}
