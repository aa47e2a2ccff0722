#pragma once

#include <repository/catalog/PurgeRules_p.h>

#include <QVector>

#include <functional>

namespace Tolm::SQL {

/// Reads a destination's files in the order of their ids, a page at a time, with what the rules look at of their
/// versions, oldest first. A page is bounded and wholly read before the next statement runs: memory stays flat, no lock
/// or snapshot is held from page to page, and on PostgreSQL nothing stands in the way of the thread's other statements.
class PurgePass {
public:
    /// Called for each file that lies below one of the roots and has versions.
    using Visitor = std::function<void(const QVector<VersionFacts> &versions)>;

    PurgePass(quint64 destinationId, const QStringList &roots, DatabaseConnection &connection);

    /// \return whether the whole destination could be read.
    bool run(const Visitor &visit);

private:
    struct Page {
        QVector<quint64> files; ///< below a root, ascending
        quint64 last = 0;       ///< the last file of the page, wherever it lies
        int rows = 0;
    };

    bool readFiles(quint64 after, Page &page);
    bool readVersions(const Page &page, const Visitor &visit);

    quint64 m_destinationId;
    QStringList m_roots;
    DatabaseConnection &m_connection;
};

} // namespace Tolm::SQL
