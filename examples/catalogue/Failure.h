#pragma once

#include <QString>

#include <stdexcept>

namespace Client {

/// Why the program cannot do what it was asked; main() prints it and ends with exit code 2. The library throws nothing
/// and reports by its results; here, where a refused operation ends the whole command, an exception is the shorter way
/// up.
class Failure : public std::runtime_error {
public:
    explicit Failure(const QString &text)
        : std::runtime_error(text.toStdString())
        , m_text(text)
    {}

    const QString &text() const { return m_text; }

private:
    QString m_text;
};

} // namespace Client
