#pragma once

#include <QSqlQuery>
#include <QString>
#include <QVarLengthArray>
#include <QVector>

#include <memory>
#include <unordered_map>

namespace Tolm::SQL {

/// For each column of a record class: where it stands in a statement (index of its placeholder, or position in the
/// result), -1 where it does not. Known after the first use of a statement and kept with it.
using ColumnIndexes = QVarLengthArray<int, 32>;

struct PreparedStatement;

/// A text's place in the cache. It is kept, empty, for the statement that was taken from it.
struct CachePlace {
    std::unique_ptr<PreparedStatement> idle;
    quint64 since = 0; ///< when it came back last
};

/// A statement prepared on one connection, with what is found out about it once and not per row or value.
struct PreparedStatement {
    PreparedStatement(const QSqlQuery &unprepared, const QString &text);

    QSqlQuery query;
    QString text;
    QVector<QString> placeholders;
    bool usable = false; ///< prepared, and not failed since
    /// Whether its text may be kept, and beside which others.
    enum class Shelf { None, Main, Lists } shelf;
    quint64 epoch = 0;           ///< the cache's epoch when it was handed out
    CachePlace *place = nullptr; ///< where it was taken from, good for as long as the cache has that epoch
    ColumnIndexes columnPlaceholders;
    ColumnIndexes columnPositions;
};

/// The prepared statements of one connection by their text, because preparing is most of what a short statement costs.
///
/// A statement is moved out to its user and comes back reset, so it is never used twice at once and never left on a
/// row. Only the connection's own thread may use it.
class StatementCache {
public:
    static constexpr int Capacity = 96;
    /// Texts with a list of ids or the offset of a page in them serve for as long as one selection lasts: they have few
    /// places, but their own, and do not push the others out.
    static constexpr int ListCapacity = 8;

    /// The idle statement of `text`, or null when there is none.
    std::unique_ptr<PreparedStatement> take(const QString &text);

    /// Takes a statement back. It is dropped when it failed, when it was prepared before the connection was opened
    /// anew, when its text must not be kept, or when another one of the same text was here first; the longest unused
    /// goes when the cache is full.
    void give(std::unique_ptr<PreparedStatement> statement);

    /// Drops all statements, those in use as well as soon as they come back.
    void clear();

    /// A number that changes with every clear().
    quint64 epoch() const { return m_epoch; }

    /// How many texts it knows, with those of the statements in use that were taken from it.
    int size() const { return m_main.size() + m_lists.size(); }

private:
    // Texts are long and mostly differ in size or near their ends: a sample tells them apart, and comparing one that is
    // the same literal costs nothing.
    struct SampleHash {
        std::size_t operator()(const QString &text) const noexcept;
    };

    struct Shelf {
        int capacity;
        std::unordered_map<QString, CachePlace, SampleHash> places{};

        int size() const { return static_cast<int>(places.size()); }
        std::unique_ptr<PreparedStatement> take(const QString &text);
        void give(std::unique_ptr<PreparedStatement> statement, quint64 since);
        void dropLongestUnused();
    };

    Shelf m_main{Capacity};
    Shelf m_lists{ListCapacity};
    quint64 m_clock = 0;
    quint64 m_epoch = 1;
};

} // namespace Tolm::SQL
