#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QString>

namespace SHARED::functions::files_operations {

/// The value of @p key in the settings file @p file, read anew at every call. Any thread may call it.
///
/// The file is UTF-8 text of lines KEY=VALUE. The value is everything after the line's first "=", and both sides are
/// trimmed of white space. Lines that begin with "#" are comments; lines without "=" are passed over. Keys are
/// case-sensitive. When a key occurs more than once the first line counts.
///
/// A missing key, and a file that is missing or cannot be read, give the empty text.
TOLM_EXPORT QString get_attrib_from_file(const QString &file, const QString &key);

} // namespace SHARED::functions::files_operations
