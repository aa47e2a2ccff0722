#include <platform/Varn/Network.h>

#include <QtCore/QSysInfo>

QString Varn::Network::ComputerName::name()
{
    return QSysInfo::machineHostName();
}
