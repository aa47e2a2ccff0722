#pragma once

#include <QString>
#include <QVector>

namespace Tolm::SQL {

/// The named placeholders of a statement text (":name", colon included), each once, in the order in which they first
/// stand. Quoted texts and names, and PostgreSQL's "::type", are passed over, as Qt's own drivers do.
QVector<QString> placeholdersOf(const QString &text);

} // namespace Tolm::SQL
