#pragma once

/// What is known of single file operations.
namespace Tolm::Info::History {

/// The kind of a file operation, as the engine numbers it, and the two filters that reports know besides. A value: any
/// thread may use its own.
///
/// Every number is carried as it is, also those that have no name here.
class OperationType {
public:
    enum Value : int {
        All = -1,     ///< as a filter: every operation
        Failed = 100, ///< as a filter: the operations that failed, of whatever kind
    };

    explicit OperationType(int value)
        : m_value(value)
    {}

    int value() const { return m_value; }

    friend bool operator==(const OperationType &left, const OperationType &right)
    {
        return left.m_value == right.m_value;
    }
    friend bool operator!=(const OperationType &left, const OperationType &right) { return !(left == right); }

private:
    int m_value;
};

} // namespace Tolm::Info::History
