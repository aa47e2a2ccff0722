#include <benchmarks/support/Postgres.h>

#include <QCoreApplication>
#include <QStringList>

#include <cctype>

namespace Tolm::Benchmarks {

namespace {

// "PGSQL;host:/tmp;database:postgres" with another database.
QString withDatabase(const QString &location, const QString &database)
{
    return location.left(location.indexOf(QLatin1String(";database:"))) + QLatin1String(";database:") + database;
}

std::string forLibpq(const QString &location)
{
    QString plain;
    const QStringList items = location.split(QLatin1Char(';')).mid(1);
    for (const QString &item : items) {
        const QString key = item.section(QLatin1Char(':'), 0, 0);
        plain += (key == QLatin1String("database") ? QStringLiteral("dbname") : key) + QLatin1String("='") +
                 item.section(QLatin1Char(':'), 1) + QLatin1String("' ");
    }
    return plain.toStdString();
}

} // namespace

ThrowAwayDatabase::ThrowAwayDatabase(const QString &server)
    : m_server(server)
    , m_name(QStringLiteral("bench_%1").arg(QCoreApplication::applicationPid()))
{
    Postgres(forLibpq(m_server)).run("CREATE DATABASE " + m_name.toStdString() + " TEMPLATE template0");
}

ThrowAwayDatabase::~ThrowAwayDatabase()
{
    Postgres(forLibpq(m_server)).run("DROP DATABASE " + m_name.toStdString() + " WITH (FORCE)");
}

QString ThrowAwayDatabase::location() const
{
    return withDatabase(m_server, m_name);
}

std::string ThrowAwayDatabase::plainLocation() const
{
    return forLibpq(location());
}

Postgres::Postgres(const std::string &location)
    : m_connection(PQconnectdb(location.c_str()))
{
    if (PQstatus(m_connection) != CONNECTION_OK)
        qFatal("%s", PQerrorMessage(m_connection));
}

void Postgres::run(const std::string &text)
{
    checked(PQexec(m_connection, text.c_str()), text);
}

Postgres::Result Postgres::checked(PGresult *result, const std::string &what) const
{
    const ExecStatusType status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        qFatal("%s: %s", what.c_str(), PQerrorMessage(m_connection));
    return Result(result);
}

std::string Postgres::prepare(std::string text)
{
    int placeholders = 0;
    for (std::size_t start = text.find(':'); start != std::string::npos; start = text.find(':', start)) {
        std::size_t end = start + 1;
        while (end < text.size() && (std::isalpha(static_cast<unsigned char>(text[end])) || text[end] == '_'))
            ++end;
        text.replace(start, end - start, '$' + std::to_string(++placeholders));
    }
    std::string name = "statement_" + std::to_string(++m_statements);
    checked(PQprepare(m_connection, name.c_str(), text.c_str(), 0, nullptr), text);
    return name;
}

} // namespace Tolm::Benchmarks
