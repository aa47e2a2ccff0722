#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/ResultCode.h>
#include <repository/database/StatementCache_p.h>
#include <repository/database/StoredForms_p.h>

#include <QLatin1String>
#include <QVariant>

#include <array>
#include <memory>
#include <optional>
#include <type_traits>

namespace Tolm::SQL {

struct ConnectionState;

/// One SQL text on one connection: prepared or taken from the thread's cache, bound, run once, read, and at the end of
/// the scope reset and given back. Every statement of the record classes runs through it.
///
/// It refuses to run, with the code that exec() returns, on a handle that is not open (Error), with a value that no
/// column can hold (BadData), and with placeholders that are not all bound exactly: the drivers would store NULL for a
/// misspelt one without a word. That last one is a slip of this library, so it also stops a debug build.
class Statement {
public:
    Statement(const DatabaseConnection &connection, const QString &text);
    ~Statement();
    Q_DISABLE_COPY_MOVE(Statement)

    /// Binds `value` in the stored form `Form`. The placeholder is written with its colon.
    template <class Form, class T>
    Statement &bindAs(const char *placeholder, const T &value)
    {
        bindStored(slotOf(QLatin1String(placeholder)), Form::store(value, m_type));
        return *this;
    }

    template <class T, std::enable_if_t<std::is_integral_v<T>, int> = 0>
    Statement &bind(const char *placeholder, T value)
    {
        return bindAs<Stored::Number>(placeholder, value);
    }

    /// Binds a text to look up, which is never NULL.
    Statement &bind(const char *placeholder, const QString &text)
    {
        return bindAs<Stored::RequiredText>(placeholder, text);
    }

    // Which of the two it is, text or bytes, has to be said: Stored::Utf8 or Stored::Bytes.
    Statement &bind(const char *placeholder, const QByteArray &bytes) = delete;

    /// Binds ":limit" and ":offset". More than a table can hold is as good as all of it.
    Statement &bindPage(quint64 limit, quint64 offset);

    /// Runs the statement. \return its ResultCode.
    int exec();

    /// What exec() returned, or what reading the rows has met since.
    int code() const { return m_code; }

    /// Moves to the next row. \return false at the end and on an error; code() tells them apart.
    bool next();

    QVariant value(int position) const { return m_prepared->query.value(position); }

    /// Leaves the result; a query that stays on a row pins the database's state for everything else that its connection
    /// does.
    void finish();

    /// The key of the inserted row; nothing when the database gave none. It asks PostgreSQL, so only after an insert
    /// into a table whose key the database makes.
    std::optional<quint64> insertedId();

    DatabaseType type() const { return m_type; }
    const QSqlQuery &query() const { return m_prepared->query; }

    /// \name For column tables
    /// Where the columns `names` stand among the placeholders, and in the result; found once for each prepared
    /// statement.
    ///@{
    template <std::size_t N>
    const ColumnIndexes &placeholdersOfColumns(const std::array<QLatin1String, N> &names);
    template <std::size_t N>
    const ColumnIndexes &positionsOfColumns(const std::array<QLatin1String, N> &names);
    void bindStored(int placeholderIndex, const QVariant &value);
    bool isRefused() const { return m_refusal != ResultCode::Ok; }
    ///@}

private:
    int slotOf(QLatin1String placeholder);
    int slotOfColumn(QLatin1String column) const;
    void refuse(int code, const char *reason, const QString &what);
    void failed(int code);

    ConnectionState *m_state;
    DatabaseType m_type;
    std::unique_ptr<PreparedStatement> m_prepared;
    quint64 m_bound = 0; // a bit for each placeholder
    int m_nextSlot = 0;
    int m_refusal = ResultCode::Ok;
    int m_code = ResultCode::Ok;
};

/// The position of each column in the current result, -1 where it has none.
template <std::size_t N>
ColumnIndexes positionsInResult(const QSqlQuery &query, const std::array<QLatin1String, N> &names);

} // namespace Tolm::SQL

#include <repository/database/Statement_impl_p.h>
