#include <examples/catalogue/Table.h>
#include <examples/catalogue/Terminal.h>

#include <algorithm>

namespace Client {

namespace {

constexpr int Gap = 2;
constexpr int NarrowestLastColumn = 12;

} // namespace

Table::Table(const QVector<Column> &columns)
    : m_columns(columns)
{
    for (const Column &column : columns)
        m_titles.append(column.title);
}

void Table::add(const QStringList &row)
{
    Q_ASSERT(row.size() == m_columns.size());
    QStringList cells;
    for (const QString &cell : row)
        cells.append(printable(cell));
    m_rows.append(cells);
}

QString Table::lineOf(const QStringList &row, const QVector<int> &widths) const
{
    QString line;
    for (int i = 0; i < row.size(); ++i) {
        if (widths.at(i) == 0)
            continue;
        const bool isLast = i + 1 == row.size();
        const QString cell = isLast ? cutToWidth(row.at(i), widths.at(i)) : row.at(i);
        const QString blanks(widths.at(i) - displayWidth(cell), QLatin1Char(' '));
        if (m_columns.at(i).align == Align::Right)
            line += blanks + cell;
        else
            line += isLast ? cell : cell + blanks;
        if (!isLast)
            line += QString(Gap, QLatin1Char(' '));
    }
    return line + QLatin1Char('\n');
}

QString Table::toText(int width) const
{
    QVector<int> widths;
    int others = 0;
    for (int i = 0; i < m_columns.size(); ++i) {
        int widest = 0;
        for (const QStringList &row : m_rows)
            widest = std::max(widest, displayWidth(row.at(i)));
        if (widest > 0)
            widest = std::max(widest, displayWidth(m_titles.at(i)));
        widths.append(widest);
        others += widest > 0 && i + 1 < m_columns.size() ? widest + Gap : 0;
    }
    if (width > 0)
        widths.last() = std::min(widths.last(), std::max(width - others, NarrowestLastColumn));

    QStringList rules;
    for (const int columnWidth : widths)
        rules.append(QString(columnWidth, QLatin1Char('-')));
    QString text = lineOf(m_titles, widths) + lineOf(rules, widths);
    for (const QStringList &row : m_rows)
        text += lineOf(row, widths);
    return text;
}

void Table::print() const
{
    Client::print(toText(terminalWidth(stdout)));
}

} // namespace Client
