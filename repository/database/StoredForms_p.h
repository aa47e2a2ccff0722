#pragma once

#include <repository/database/CatalogDate_p.h>
#include <repository/database/DatabaseType.h>
#include <repository/database/Moment_p.h>

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUuid>
#include <QVariant>
#include <QVersionNumber>

#include <limits>
#include <type_traits>

/// How values are stored: for each form, the value's way into a bound variant and back out of a column. All knowledge
/// of what the two drivers do with a type stands here.
///
/// store() gives an invalid QVariant for a value that no column can hold; a statement with such a value is refused.
/// SQL's NULL is a valid, null variant.
namespace Tolm::SQL::Stored {

/// An integer, bool or enum of any width. Always bound as qlonglong: SQLite's driver binds an unsigned 64-bit value as
/// text and a signed char as an empty text, and PostgreSQL refuses a bool for an integer column. Reads 0 where the
/// column does not convert.
struct Number {
    template <class T>
    static QVariant store(T value, DatabaseType /*type*/)
    {
        if constexpr (std::is_same_v<T, qulonglong> || std::is_same_v<T, unsigned long>) {
            if (value > static_cast<T>(std::numeric_limits<qlonglong>::max()))
                return {};
        }
        return static_cast<qlonglong>(value);
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        if constexpr (std::is_same_v<T, bool>)
            return stored.toLongLong() != 0;
        else if constexpr (std::is_same_v<T, qulonglong> || std::is_same_v<T, unsigned long>)
            return static_cast<T>(stored.toULongLong());
        else
            return static_cast<T>(stored.toLongLong());
    }
};

/// A bool that only the stored number 1 makes true.
struct FlagIsOne : Number {
    template <class T>
    static T load(const QVariant &stored)
    {
        return stored.toLongLong() == 1;
    }
};

/// A text as it is: a null QString is NULL, an empty one the empty text.
struct Text {
    template <class T>
    static QVariant store(const T &text, DatabaseType /*type*/)
    {
        return QVariant(QString(text));
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        return stored.toString();
    }
};

/// A text that is never NULL: one that is looked up (NULL is never found again and slips through UNIQUE) or must not be
/// null.
struct RequiredText : Text {
    template <class T>
    static QVariant store(const T &text, DatabaseType /*type*/)
    {
        return text.isNull() ? QVariant(QStringLiteral("")) : QVariant(QString(text));
    }
};

/// UTF-8 bytes, kept in a text column; null is NULL. (A QByteArray bound to it as it is would be a blob, never equal to
/// a text.)
struct Utf8 {
    template <class T>
    static QVariant store(const T &bytes, DatabaseType /*type*/)
    {
        return bytes.isNull() ? QVariant(QString()) : QVariant(QString::fromUtf8(bytes.constData(), bytes.size()));
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        return stored.toString().toUtf8();
    }
};

/// Opaque bytes; null is NULL. An empty array reads back as null: SQLite's driver does not tell the two apart.
struct Bytes {
    template <class T>
    static QVariant store(const T &bytes, DatabaseType /*type*/)
    {
        return QVariant(QByteArray(bytes));
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        const QByteArray bytes = stored.toByteArray();
        return bytes.isEmpty() ? QByteArray() : bytes;
    }
};

/// A catalogue date as its number; 0 for an invalid one.
struct DateNumber {
    template <class T>
    static QVariant store(const T &date, DatabaseType /*type*/)
    {
        const auto number = CatalogDate::toNumber(date);
        return number ? QVariant(qlonglong(*number)) : QVariant();
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        return CatalogDate::fromStored(stored);
    }
};

/// A catalogue date as its text. An invalid one is the empty text on SQLite; PostgreSQL's numeric columns refuse that,
/// so there it is NULL, which reads back and sorts the same.
struct DateText : DateNumber {
    template <class T>
    static QVariant store(const T &date, DatabaseType type)
    {
        if (!date.isValid() && type == DatabaseType::PostgreSQL)
            return QVariant(QString());
        const auto text = CatalogDate::toText(date);
        return text ? QVariant(*text) : QVariant();
    }
};

/// A catalogue date as its number, "none" for an invalid one.
struct DateNumberOrNone : DateNumber {
    template <class T>
    static QVariant store(const T &date, DatabaseType type)
    {
        return date.isValid() ? DateNumber::store(date, type) : QVariant(CatalogDate::noneText());
    }
};

/// A catalogue date as its text, "none" for an invalid one.
struct DateTextOrNone : DateText {
    template <class T>
    static QVariant store(const T &date, DatabaseType type)
    {
        return date.isValid() ? DateText::store(date, type) : QVariant(CatalogDate::noneText());
    }
};

/// A date-time in the driver's own form, labelled UTC when it is read. SQLite's driver stores the empty text for a year
/// that ISO 8601 does not write with four digits.
struct DateTime {
    template <class T>
    static QVariant store(const T &date, DatabaseType /*type*/)
    {
        const int year = date.date().year();
        return date.isValid() && (year < 1 || year > 9999) ? QVariant() : QVariant(QDateTime(date));
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        return Moment::fromStored(stored);
    }
};

/// A UUID as 36 lower-case characters. Both forms read back from either.
struct PlainUuid {
    template <class T>
    static QVariant store(const T &uuid, DatabaseType /*type*/)
    {
        return uuid.toString(QUuid::WithoutBraces);
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        return QUuid(stored.toString());
    }
};

/// A UUID as 36 lower-case characters in braces.
struct BracedUuid : PlainUuid {
    template <class T>
    static QVariant store(const T &uuid, DatabaseType /*type*/)
    {
        return uuid.toString(QUuid::WithBraces);
    }
};

/// A version number as its segments joined by points.
struct Version {
    template <class T>
    static QVariant store(const T &version, DatabaseType /*type*/)
    {
        const QString text = version.toString();
        return text.isNull() ? QStringLiteral("") : text;
    }

    template <class T>
    static T load(const QVariant &stored)
    {
        return QVersionNumber::fromString(stored.toString());
    }
};

} // namespace Tolm::SQL::Stored
