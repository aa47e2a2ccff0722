#include <platform/Varn/VarnDebug.h>

#include <tests/support/LogCapture.h>

#include <QtCore/QStringList>
#include <gtest/gtest.h>

#include <atomic>

using Tolm::Tests::LogRecord;

namespace {

class VarnDebugTest : public testing::Test {
public:
    VarnDebugTest() { QLoggingCategory::setFilterRules(QStringLiteral("SQL.debug=true\nSQL.info=true")); }
    ~VarnDebugTest() override { QLoggingCategory::setFilterRules(QString()); }
    Q_DISABLE_COPY_MOVE(VarnDebugTest)

protected:
    QStringList texts() const
    {
        QStringList texts;
        for (const LogRecord &record : m_capture.records())
            texts += record.text;
        return texts;
    }

    const Tolm::Tests::LogCapture m_capture;
    const Varn::VarnDebug m_log{"SQL"};
};

struct Counting {
    std::atomic<int> *conversions;
};

QDebug operator<<(QDebug debug, const Counting &item)
{
    ++*item.conversions;
    return debug << "counted";
}

/// An item whose operator leaves QDebug in another mode than it found it.
struct Untidy {};

QDebug operator<<(QDebug debug, const Untidy &)
{
    debug.nospace().quote() << Qt::hex << 255;
    return debug;
}

} // namespace

TEST_F(VarnDebugTest, JoinsItemsByOneBlankUnquoted)
{
    m_log.info() << "Go to retry sql query:" << 0 << "/" << 3;
    m_log.info() << QStringLiteral("name \"a\"\n") << QChar('x') << true << -1LL << QStringList{QStringLiteral("b")};
    m_log.info() << "message, ends in a blank: ";
    m_log.info() << QString() << "b";
    m_log.info() << Untidy() << 255 << QStringLiteral("t") << Untidy();
    m_log.info();

    EXPECT_EQ(texts(),
              QStringList({QStringLiteral("Go to retry sql query: 0 / 3"), QStringLiteral("name \"a\"\n x true -1 (b)"),
                           QStringLiteral("message, ends in a blank: "), QStringLiteral(" b"),
                           QStringLiteral("ff 255 t ff"), QString()}));
}

TEST_F(VarnDebugTest, EachFunctionHasItsLevelAndTheCategory)
{
    m_log.debug() << 1;
    m_log.info() << 2;
    m_log.infoH() << 3;
    m_log.warning() << 4;
    m_log.error() << 5;

    QVector<QtMsgType> types;
    for (const LogRecord &record : m_capture.records())
        types += record.type;
    EXPECT_EQ(types, QVector<QtMsgType>({QtDebugMsg, QtInfoMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg}));
    EXPECT_EQ(texts().join(QString()), QStringLiteral("12345"));
}

TEST_F(VarnDebugTest, EveryCategoryHasItsOwnRecordsAndRules)
{
    QLoggingCategory::setFilterRules(QStringLiteral("SQL.info=true\nOther.info=false"));
    Varn::VarnDebug("Other").info() << "switched off";
    Varn::VarnDebug("Other").warning() << "not of SQL";
    Varn::VarnDebug("SQL").info() << "outlives its log";
    EXPECT_EQ(texts(), QStringList({QStringLiteral("outlives its log")}));
    EXPECT_TRUE(m_capture.mentions(QStringLiteral("not of SQL")));
    EXPECT_FALSE(m_capture.mentions(QStringLiteral("switched off")));
}

TEST_F(VarnDebugTest, ALevelThatIsOffConvertsNothingAndSendsNothing)
{
    std::atomic<int> conversions{0};
    QLoggingCategory::setFilterRules(QStringLiteral("SQL.debug=false\nSQL.info=false\nSQL.warning=false"));
    m_log.debug() << Counting{&conversions} << QString(1000, QLatin1Char('x'));
    m_log.info() << Counting{&conversions};
    m_log.infoH() << Counting{&conversions};
    m_log.warning() << Counting{&conversions};
    EXPECT_EQ(conversions, 0);
    EXPECT_TRUE(texts().isEmpty());

    m_log.error() << Counting{&conversions};
    QLoggingCategory::setFilterRules(QStringLiteral("SQL.debug=true"));
    m_log.debug() << Counting{&conversions} << "now";
    EXPECT_EQ(conversions, 2);
    EXPECT_EQ(texts(), QStringList({QStringLiteral("counted"), QStringLiteral("counted now")}));
}

TEST_F(VarnDebugTest, TheRecordGoesOutOnceWhenTheLastOwnerGoes)
{
    {
        Varn::VarnStream first = m_log.info();
        first << "a";
        Varn::VarnStream second = std::move(first);
        // A moved-from stream must take it and drop it.
        first << "lost"; // NOLINT(bugprone-use-after-move, clang-analyzer-cplusplus.Move)
        second << "b";
        EXPECT_TRUE(texts().isEmpty());
    }
    EXPECT_EQ(texts(), QStringList({QStringLiteral("a b")}));
}
