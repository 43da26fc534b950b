#include "transport/commdev.h"

CommDev::CommDev(QObject *parent)
    : QThread(parent)
{
}

void CommDev::SetBaudrate(int) {}
