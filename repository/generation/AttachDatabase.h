#pragma once

#include <repository/database/DatabasePool.h>

#include <platform/TolmExport.h>

#include <QPointer>
#include <QSharedPointer>
#include <QString>
#include <QUuid>

class QSqlDatabase;

namespace Tolm::SQL::Generation {

/// Opens the database file of one generation, creating or upgrading it, and serves it to every thread through a pool of
/// its own. An object is attached by one thread; then any thread may take its connection from the pool.
///
///     const auto generation = AttachDatabase::attach(path, marker);
///     if (!generation) …
///     DatabaseConnection connection(generation->attachedDatabasePool());
///
/// The pool and its connections live until the object is destroyed. Its sweep of idle connections needs the event loop
/// of the thread that made the object.
class TOLM_EXPORT AttachDatabase {
public:
    /// \param generationMarker the generation's identity, written into a file that is created.
    AttachDatabase(const QString &path, const QUuid &generationMarker);
    ~AttachDatabase();
    Q_DISABLE_COPY_MOVE(AttachDatabase)

    /// Makes an object and attaches it. \return null when that failed.
    static QSharedPointer<AttachDatabase> attach(const QString &path, const QUuid &generationMarker);

    /// Opens the file, creates it or makes it a generation when it holds nothing yet, or brings an older one up to the
    /// current schema version; a newer one is left as it is. \return 0; 2 when it is attached already, its pool is
    /// gone, or the file cannot be opened or is no complete generation; else the code of the statement that failed.
    int attach();

    const QString &path() const { return m_path; }

    /// Whether it is attached and its pool still exists.
    bool isAttached() const;

    /// Does nothing: the file stays attached as long as the object lives.
    void detach() {}

    /// For DatabaseConnection; the operations on it take the empty schema name.
    QPointer<DatabasePool> &attachedDatabasePool() { return m_pool; }

private:
    int prepare(QSqlDatabase &database, bool &needsMetadata);

    QString m_path;
    QUuid m_generationMarker;
    QPointer<DatabasePool> m_pool;
};

} // namespace Tolm::SQL::Generation
