#include "tests/e2e/simulated_module.h"

// The module makes a pseudo-terminal, published in a runtime folder of this process alone, where no other
// module's port is listed.
QStringList SimulatedModule::connectLine()
{
    qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
    return {};
}
