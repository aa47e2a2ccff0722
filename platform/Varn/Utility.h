#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QString>
#include <QtCore/QUuid>

/// Small helpers on texts and paths. Any thread may call them.
namespace Varn::Utility {

namespace Uuid2String {
/// The UUID as 36 lower-case characters without braces, "0b6c1a6e-3f9a-4c7e-9d1b-2f4e5a6b7c8d". Rows of several tables
/// are matched by this text, so it is one form and no other; the null UUID gives the 36-character text of zeros.
TOLM_EXPORT QString windows(const QUuid &uuid);
} // namespace Uuid2String

namespace RandomString {
/// A text of @p length ASCII letters and digits from the system's random source; a length below 1 gives the empty text.
TOLM_EXPORT QString generateSimple(int length);
} // namespace RandomString

namespace StringFilters {
/// @p text without its trailing characters @p character, all of them.
TOLM_EXPORT QString removeTrailingChar(const QString &text, QChar character);
} // namespace StringFilters

/// Describes @p path and each of its parent folders for a log: one line each, the path first and the root last, with
/// kind, owner, mode and size, or the word "missing". The lines are joined by "\n"; the empty path gives the empty
/// text.
TOLM_EXPORT QString listOfPathInfo(const QString &path);

} // namespace Varn::Utility
