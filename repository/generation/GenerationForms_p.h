#pragma once

#include <repository/database/StoredForms_p.h>
#include <repository/database/Utitlity.h>

#include <QJsonObject>

#include <optional>

namespace Tolm::SQL::Generation::Stored {

using namespace Tolm::SQL::Stored;

QString jsonText(const QJsonObject &object);
std::optional<QJsonObject> jsonObject(const QString &text, const char *complaint);

/// A date-time without its milliseconds, labelled UTC.
struct WholeSeconds : DateTime {
    template <class T>
    static QVariant store(const T &date, DatabaseType type)
    {
        return DateTime::store(Utitlity::modifiedDateTime(date), type);
    }
};

/// A JSON object as text: NULL for an empty one, otherwise the indented form. A text that is no JSON gives nothing,
/// with an error record that begins with `Complaint`; the column's setter leaves the record's object as it was then.
template <const char *Complaint>
struct Json {
    template <class T>
    static QVariant store(const T &object, DatabaseType /*type*/)
    {
        return QVariant(jsonText(object));
    }

    template <class T>
    static std::optional<T> load(const QVariant &stored)
    {
        return jsonObject(stored.toString(), Complaint);
    }
};

} // namespace Tolm::SQL::Generation::Stored
