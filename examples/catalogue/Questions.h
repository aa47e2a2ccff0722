#pragma once

#include <repository/catalog/Destination.h>

#include <QDateTime>
#include <QList>
#include <QSharedPointer>

namespace Client {

/// Answers questions about the files of some destinations on the standard output. Each function returns whether it
/// found anything; when it did not, it says so.
class Questions {
public:
    Questions(const QList<QSharedPointer<Tolm::SQL::Destination>> &destinations,
              Tolm::SQL::DatabaseConnection &connection);

    /// The folders and files at `path`, with the state of the files at the time `at`, or now when it is invalid. The
    /// catalogue keeps no history of folders: they are listed as of now.
    bool list(const QString &path, const QDateTime &at) const;

    /// All versions of the file at `path`, oldest first.
    bool versions(const QString &path) const;

    /// The files whose name contains `text`.
    bool find(const QString &text) const;

private:
    bool listOne(const Tolm::SQL::Destination &destination, const QString &path, const QDateTime &at) const;
    void printTitle(const Tolm::SQL::Destination &destination) const;

    const QList<QSharedPointer<Tolm::SQL::Destination>> m_destinations;
    Tolm::SQL::DatabaseConnection &m_connection;
};

} // namespace Client
