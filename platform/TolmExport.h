#pragma once

#include <QtCore/QtGlobal>

/// Marks what the shared library exports; everything else is hidden. The library's own build defines
/// TOLM_REPOSITORY_BUILD, its users do not.
#ifdef TOLM_REPOSITORY_BUILD
#define TOLM_EXPORT Q_DECL_EXPORT
#else
#define TOLM_EXPORT Q_DECL_IMPORT
#endif
