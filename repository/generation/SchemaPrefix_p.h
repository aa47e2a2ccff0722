#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

#include <initializer_list>

namespace Tolm::SQL::Generation {

/// A statement text of the generation tables, with "%1" in front of every table's name: filled with the schema name and
/// a point, or with nothing when the connection's main database is the generation. Kept as a static beside the
/// operation that runs it: its places are found once, and the usual, empty prefix is filled once.
class SchemaText {
public:
    explicit SchemaText(const QString &text);

    /// The text with its prefix, ready to run.
    QString of(const QString &schemaName) const;

    /// The same with further pieces for "%2", "%3" and so on.
    QString of(const QString &schemaName, std::initializer_list<QString> pieces) const;

private:
    struct Place {
        QString before; ///< the text since the place before
        int number;
    };

    QVector<Place> m_places;
    QString m_tail;
    QString m_plain;
};

/// \name Pieces of the listing statements
///@{

/// A list of ids in decimal, joined by ",".
QString idList(const QList<unsigned long long> &ids);

/// "and deleted = 0", or nothing.
QString deletedFilter(bool excludeDeleted);

/// "limit " and the number when it is at least 1, otherwise nothing; the same for the offset.
QString limitPiece(long long limit);
QString offsetPiece(long long offset);
///@}

} // namespace Tolm::SQL::Generation
