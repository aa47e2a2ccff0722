#pragma once

#include <benchmarks/support/Sqlite.h>

#include <SQLiteCpp/SQLiteCpp.h>
#include <optional>

namespace Tolm::Benchmarks {

/// SQLiteCpp, with a statement made for each operation, or `Reused`.
template <bool Reused>
class SqliteCpp {
public:
    static constexpr const char *Name = Reused ? "SQLiteCpp, reused" : "SQLiteCpp";

    explicit SqliteCpp(const std::string &path)
        : m_database(path, SQLite::OPEN_READWRITE)
    {}

    void run(const std::string &text) { m_database.exec(text); }
    long long lastId() const { return m_database.getLastInsertRowid(); }

    template <class In, class Out>
    class Statement {
    public:
        Statement(SqliteCpp &connection, const char *text, In &in, Out &out)
            : m_database(connection.m_database)
            , m_text(text)
            , m_in(in)
            , m_out(out)
        {}

        template <class OnRow>
        void run(OnRow onRow)
        {
            if constexpr (Reused) {
                if (!m_kept)
                    m_kept.emplace(m_database, m_text);
                run(*m_kept, onRow);
                m_kept->reset();
            } else {
                SQLite::Statement statement(m_database, m_text);
                run(statement, onRow);
            }
        }

    private:
        template <class OnRow>
        void run(SQLite::Statement &statement, OnRow onRow)
        {
            int placeholder = 0;
            m_in.visit([&](const auto &value) { bind(statement, ++placeholder, value); });
            while (statement.executeStep()) {
                int column = 0;
                m_out.visit([&](auto &value) { read(statement.getColumn(column++), value); });
                onRow();
            }
        }

        static void bind(SQLite::Statement &statement, int placeholder, long long value)
        {
            statement.bind(placeholder, static_cast<int64_t>(value));
        }
        static void bind(SQLite::Statement &statement, int placeholder, const std::string &value)
        {
            statement.bind(placeholder, value);
        }
        static void bind(SQLite::Statement &statement, int placeholder, const Bytes &value)
        {
            statement.bind(placeholder, value.data.data(), static_cast<int>(value.data.size()));
        }

        static void read(const SQLite::Column &column, long long &value) { value = column.getInt64(); }
        static void read(const SQLite::Column &column, std::string &value) { value = column.getString(); }
        static void read(const SQLite::Column &column, Bytes &value)
        {
            const auto *bytes = static_cast<const char *>(column.getBlob());
            value.data.assign(bytes ? bytes : "", static_cast<std::size_t>(column.getBytes()));
        }

        SQLite::Database &m_database;
        const char *m_text;
        In &m_in;
        Out &m_out;
        std::optional<SQLite::Statement> m_kept{};
    };

private:
    SQLite::Database m_database;
};

} // namespace Tolm::Benchmarks
