#include "workstation/Temporary.h"
#include "workstation/velhost/DeviceVfs.h"

// Linked into a host that is written for a device: while it runs, "/data/vendor/vel/" is a fresh temporary folder.

namespace {

const velhost::TemporaryDirectory directory;
const velhost::DeviceVfs device(directory.path());

} // namespace
