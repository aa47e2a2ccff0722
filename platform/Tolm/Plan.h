#pragma once

#include <platform/TolmExport.h>

#include <QtCore/QMap>
#include <QtCore/QString>

/// What is known of a backup or restore plan.
namespace Tolm::Info::Plan {

/// How a plan's run ended, as the engine numbers it. A value: any thread may use its own.
///
/// Every number is carried as it is, also those that have no name here.
class PlanResult {
public:
    enum Value : int {
        NotSet = 2, ///< what a new record holds
    };

    PlanResult(Value value)
        : m_value(value)
    {}
    explicit PlanResult(int value)
        : m_value(static_cast<Value>(value))
    {}

    Value value() const { return m_value; }

    friend bool operator==(const PlanResult &left, const PlanResult &right) { return left.m_value == right.m_value; }
    friend bool operator!=(const PlanResult &left, const PlanResult &right) { return !(left == right); }

private:
    Value m_value;
};

/// What a plan does. Kept as its 8-bit number.
enum class SubType : quint8 {
    Unknown = 0,
    Backup = 1,
    Restore = 2,
    Sync = 3,
    Purge = 4,
};

/// What SubTypeToString stands for: the table lives in a function, so that a static object's constructor can use it at
/// any time. Any thread may read it.
TOLM_EXPORT const QMap<SubType, QString> &subTypeNames() noexcept;

/// Name of each sub-type, as its enumerator is written; SubType::Unknown has none.
inline const QMap<SubType, QString> &SubTypeToString = subTypeNames();

} // namespace Tolm::Info::Plan
