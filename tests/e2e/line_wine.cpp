#include "tests/e2e/simulated_module.h"
#include "tests/transport/wine_peer.h"

// COM7, which is listed, is joined to COM8, where the module is.
QStringList SimulatedModule::connectLine()
{
    if (peer("join") != "done")
        qFatal("the ports cannot be joined");
    return {QStringLiteral("--port"), QStringLiteral("COM8")};
}
