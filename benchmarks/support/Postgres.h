#pragma once

#include <benchmarks/support/Sqlite.h>

#include <QString>

#include <array>
#include <charconv>
#include <cstdlib>
#include <libpq-fe.h>
#include <memory>
#include <vector>

namespace Tolm::Benchmarks {

/// A database of its own on the server that a connection string ("PGSQL;host:…;…") names, dropped at the end.
class ThrowAwayDatabase {
public:
    explicit ThrowAwayDatabase(const QString &server);
    ~ThrowAwayDatabase();
    Q_DISABLE_COPY_MOVE(ThrowAwayDatabase)

    /// Its connection string for the library and for libpq.
    ///@{
    QString location() const;
    std::string plainLocation() const;
    ///@}

private:
    QString m_server;
    QString m_name;
};

/// libpq, each statement prepared once: the limit on PostgreSQL. Used as Sqlite is; an insert returns its id.
class Postgres {
public:
    static constexpr char Name[] = "limit";

    explicit Postgres(const std::string &location);
    ~Postgres() { PQfinish(m_connection); }
    Q_DISABLE_COPY_MOVE(Postgres)

    void begin() { run("BEGIN"); }
    void commit() { run("COMMIT"); }
    void rollback() { run("ROLLBACK"); }
    void run(const std::string &text);

    long long lastId() const { return m_lastId; }
    PGconn *handle() { return m_connection; }

    template <class In, class Out>
    class Statement;

private:
    struct Free {
        void operator()(PGresult *result) const { PQclear(result); }
    };
    using Result = std::unique_ptr<PGresult, Free>;

    Result checked(PGresult *result, const std::string &what) const;
    /// Prepares `text`, whose placeholders are names, and returns the statement's name.
    std::string prepare(std::string text);

    PGconn *m_connection;
    long long m_lastId = 0;
    int m_statements = 0;
};

template <class In, class Out>
class Postgres::Statement {
public:
    Statement(Postgres &connection, const char *text, In &in, Out &out)
        : m_connection(connection)
        , m_isInsert(std::string_view(text).substr(0, 6) == "insert")
        , m_name(connection.prepare(m_isInsert ? std::string(text) + " returning id" : text))
        , m_in(in)
        , m_out(out)
    {}
    Q_DISABLE_COPY_MOVE(Statement)

    template <class OnRow>
    void run(OnRow onRow)
    {
        m_parameters.clear();
        m_in.visit([&](const auto &value) { bind(value); });
        std::array<const char *, MostParameters> values{};
        std::array<int, MostParameters> lengths{};
        std::array<int, MostParameters> formats{};
        for (std::size_t i = 0; i < m_parameters.size(); ++i) {
            const Parameter &parameter = m_parameters[i];
            values[i] = parameter.value ? parameter.value : parameter.number.data();
            lengths[i] = parameter.length;
            formats[i] = parameter.isBinary;
        }
        const Result result = m_connection.checked(PQexecPrepared(m_connection.m_connection, m_name.c_str(),
                                                                  static_cast<int>(m_parameters.size()), values.data(),
                                                                  lengths.data(), formats.data(), 0),
                                                   m_name);
        if (m_isInsert) {
            m_connection.m_lastId = std::strtoll(PQgetvalue(result.get(), 0, 0), nullptr, 10);
            return;
        }
        for (int row = 0; row < PQntuples(result.get()); ++row) {
            int column = 0;
            m_out.visit([&](auto &value) { read(*result, row, column++, value); });
            onRow();
        }
    }

private:
    static constexpr std::size_t MostParameters = 32;

    struct Parameter {
        const char *value = nullptr; ///< null: the number
        int length = 0;
        int isBinary = 0;
        std::array<char, 24> number{};
    };

    void bind(long long value)
    {
        auto &number = m_parameters.emplace_back().number;
        std::to_chars(number.data(), number.data() + number.size() - 1, value);
    }
    void bind(const std::string &value) { m_parameters.emplace_back().value = value.c_str(); }
    void bind(const Bytes &value)
    {
        m_parameters.push_back({value.data.data(), static_cast<int>(value.data.size()), 1});
    }

    static void read(const PGresult &result, int row, int column, long long &value)
    {
        value = std::strtoll(PQgetvalue(&result, row, column), nullptr, 10);
    }
    static void read(const PGresult &result, int row, int column, std::string &value)
    {
        value.assign(PQgetvalue(&result, row, column), static_cast<std::size_t>(PQgetlength(&result, row, column)));
    }
    static void read(const PGresult &result, int row, int column, Bytes &value)
    {
        const auto *text =
            static_cast<const unsigned char *>(static_cast<const void *>(PQgetvalue(&result, row, column)));
        std::size_t size = 0;
        const std::unique_ptr<unsigned char, decltype(&PQfreemem)> bytes(PQunescapeBytea(text, &size), PQfreemem);
        value.data.assign(static_cast<const char *>(static_cast<const void *>(bytes.get())), size);
    }

    Postgres &m_connection;
    bool m_isInsert;
    std::string m_name;
    In &m_in;
    Out &m_out;
    std::vector<Parameter> m_parameters{};
};

} // namespace Tolm::Benchmarks
