#pragma once

#include <QtGlobal>
#include <sqlite3.h>

#include <string>
#include <string_view>
#include <utility>

/// Contenders over the same statement texts. Each has a connection of its own to the file, and
/// `Statement<In, Out>(connection, text, in, out)` with `run(onRow)`: runs the text with the values of `in`, and calls
/// `onRow` for each row once it is read into `out`.
///
/// The values stand in plain structures whose `visit(visitor)` calls the visitor with each member, in the order of the
/// text's placeholders or of the result's columns. A member is a long long, a std::string or Bytes.
namespace Tolm::Benchmarks {

struct Bytes {
    std::string data;
};

/// For a statement without values, or without rows.
struct Nothing {
    template <class Visitor>
    void visit(Visitor && /*visitor*/)
    {}
};

/// For a statement with an id as its only value or column.
struct Id {
    long long id = 1;

    template <class Visitor>
    void visit(Visitor &&column)
    {
        column(id);
    }
};

/// SQLite's own interface, each statement prepared once: the limit.
class Sqlite {
public:
    static constexpr char Name[] = "limit";

    explicit Sqlite(const std::string &path)
    {
        check(sqlite3_open(path.c_str(), &m_database), path.c_str());
        sqlite3_busy_timeout(m_database, BusyTimeout);
    }
    ~Sqlite() { sqlite3_close(m_database); }
    Q_DISABLE_COPY_MOVE(Sqlite)

    void run(const std::string &text)
    {
        check(sqlite3_exec(m_database, text.c_str(), nullptr, nullptr, nullptr), text.c_str());
    }

    sqlite3_stmt *prepare(const char *text)
    {
        sqlite3_stmt *statement = nullptr;
        check(sqlite3_prepare_v2(m_database, text, -1, &statement, nullptr), text);
        return statement;
    }

    long long lastId() const { return sqlite3_last_insert_rowid(m_database); }

    void check(int code, const char *what) const
    {
        if (code != SQLITE_OK && code != SQLITE_DONE)
            qFatal("%s: %s", what, sqlite3_errmsg(m_database));
    }

    template <class In, class Out>
    class Statement;

private:
    static constexpr int BusyTimeout = 30000;

    sqlite3 *m_database = nullptr;
};

template <class In, class Out>
class Sqlite::Statement {
public:
    Statement(Sqlite &connection, const char *text, In &in, Out &out)
        : m_connection(connection)
        , m_statement(connection.prepare(text))
        , m_in(in)
        , m_out(out)
    {}
    ~Statement() { sqlite3_finalize(m_statement); }
    Q_DISABLE_COPY_MOVE(Statement)

    template <class OnRow>
    void run(OnRow onRow)
    {
        int placeholder = 0;
        m_in.visit([&](const auto &value) { bind(++placeholder, value); });
        int code = SQLITE_OK;
        while ((code = sqlite3_step(m_statement)) == SQLITE_ROW) {
            int column = 0;
            m_out.visit([&](auto &value) { read(column++, value); });
            onRow();
        }
        m_connection.check(code, sqlite3_sql(m_statement));
        sqlite3_reset(m_statement);
    }

private:
    void bind(int placeholder, long long value) { sqlite3_bind_int64(m_statement, placeholder, value); }
    void bind(int placeholder, const std::string &value)
    {
        sqlite3_bind_text(m_statement, placeholder, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
    }
    void bind(int placeholder, const Bytes &value)
    {
        sqlite3_bind_blob(m_statement, placeholder, value.data.data(), static_cast<int>(value.data.size()),
                          SQLITE_STATIC);
    }

    void read(int column, long long &value) { value = sqlite3_column_int64(m_statement, column); }
    void read(int column, std::string &value)
    {
        const auto *text =
            static_cast<const char *>(static_cast<const void *>(sqlite3_column_text(m_statement, column)));
        value.assign(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)));
    }
    void read(int column, Bytes &value)
    {
        const auto *bytes = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
        value.data.assign(bytes ? bytes : "", static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)));
    }

    Sqlite &m_connection;
    sqlite3_stmt *m_statement;
    In &m_in;
    Out &m_out;
};

} // namespace Tolm::Benchmarks
