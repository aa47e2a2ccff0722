#pragma once

#include <QByteArray>

#include <ctime>

namespace Tolm::Tests {

/// Moves the process to another time zone while it lives, for instance to one that skips clock times.
class ProcessZone {
public:
    explicit ProcessZone(const char *zone)
        : m_previous(qgetenv("TZ"))
    {
        set(zone);
    }
    ~ProcessZone() { set(m_previous); }

    ProcessZone(const ProcessZone &) = delete;
    ProcessZone &operator=(const ProcessZone &) = delete;

private:
    static void set(const QByteArray &zone)
    {
        if (zone.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", zone);
        tzset();
    }

    QByteArray m_previous;
};

} // namespace Tolm::Tests
