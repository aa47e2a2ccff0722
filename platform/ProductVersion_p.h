#pragma once

#include <QtCore/QString>

// The build hands its own version in; without it (a caller that compiles the sources by hand) the number stands here.
#ifndef TOLM_REPOSITORY_VERSION
#define TOLM_REPOSITORY_VERSION "1.0.0"
#endif

namespace Platform {

/// The product's version as text, segments joined by points.
inline QString productVersion()
{
    return QStringLiteral(TOLM_REPOSITORY_VERSION);
}

} // namespace Platform
