#pragma once

#include <QString>
#include <QStringList>

namespace Client {

/// The catalogue that the program works on, open while this object lives. Only one may live at a time; connections to
/// it come from Tolm::SQL::DatabasePool::defaultPool(), and end before it does.
class Catalogue {
public:
    enum class WhenMissing { Create, Refuse };

    /// \param location what "DB_location" takes; empty: what the product's settings say. Throws Failure when the
    /// catalogue cannot be opened.
    Catalogue(const QString &location, WhenMissing whenMissing);
    ~Catalogue();
    Q_DISABLE_COPY_MOVE(Catalogue)

    /// The files that it lies in, absolute; none of a PostgreSQL database.
    QStringList files() const;

private:
    const QString m_location;
};

} // namespace Client
