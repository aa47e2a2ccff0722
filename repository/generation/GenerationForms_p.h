#pragma once

#include <repository/database/StoredForms_p.h>
#include <repository/database/Utitlity.h>

#include <QJsonObject>

namespace Tolm::SQL::Generation::Stored {

using namespace Tolm::SQL::Stored;

/// A date-time without its milliseconds, labelled UTC.
struct WholeSeconds : DateTime {
    template <class T>
    static QVariant store(const T &date, DatabaseType type)
    {
        return DateTime::store(Utitlity::modifiedDateTime(date), type);
    }
};

/// A JSON object as text: NULL for an empty one, otherwise the indented form.
QVariant storeJson(const QJsonObject &object);

/// The object of a stored text; an empty one, with an error record that begins with `complaint`, when it is no JSON.
QJsonObject loadJson(const QVariant &stored, const char *complaint);

} // namespace Tolm::SQL::Generation::Stored
