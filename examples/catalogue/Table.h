#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

namespace Client {

/// A table for people: a line of titles, then one line a row, columns aligned. A column without any text is left out.
/// The last column is for names and paths: where the terminal is too narrow, it loses its beginning.
class Table {
public:
    enum class Align { Left, Right };

    struct Column {
        QString title;
        Align align = Align::Left;
    };

    explicit Table(const QVector<Column> &columns);

    /// A row of as many texts as there are columns; what could disturb a terminal is made visible.
    void add(const QStringList &row);

    bool isEmpty() const { return m_rows.isEmpty(); }

    /// \param width the columns that a line may take; 0: as many as it needs.
    QString toText(int width) const;

    /// Writes it to the standard output, cut to the width of the terminal if that is one.
    void print() const;

private:
    QString lineOf(const QStringList &row, const QVector<int> &widths) const;

    QVector<Column> m_columns;
    QStringList m_titles;
    QVector<QStringList> m_rows;
};

} // namespace Client
