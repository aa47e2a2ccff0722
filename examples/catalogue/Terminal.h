#pragma once

#include <QString>

#include <cstdio>

namespace Client {

/// The number of columns of the terminal that `stream` writes to; 0 when it writes to none.
int terminalWidth(std::FILE *stream);

/// The columns that `text` takes in a terminal.
int displayWidth(const QString &text);

/// `text`, or "…" and as much of its end as fits into `width` columns.
QString cutToWidth(const QString &text, int width);

/// `text` on one line and without effect on a terminal: a file's name may hold line breaks and escape sequences.
QString printable(const QString &text);

/// Writes `text` in the locale's encoding.
void print(const QString &text, std::FILE *stream = stdout);

/// Takes what stands on the cursor's line away when `stream` is a terminal.
void clearLine(std::FILE *stream);

} // namespace Client
