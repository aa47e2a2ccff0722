#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QString>

namespace Varn::Network::ComputerName {

/// This machine's host name; the empty text when it has none. Any thread may ask.
TOLM_EXPORT QString name();

} // namespace Varn::Network::ComputerName
