#include <platform/Varn/VarnDebug.h>

#include <tests/support/LogCapture.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

TEST(VarnDebugThreadTest, OneLogServesManyThreads)
{
    static const Varn::VarnDebug log("SQL");
    const Tolm::Tests::LogCapture capture;
    constexpr int threadCount = 4;
    constexpr int perThread = 500;

    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < perThread; ++i)
                log.warning() << "thread" << thread << "record" << i;
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    QStringList received = capture.texts(QtWarningMsg);
    EXPECT_EQ(received.size(), threadCount * perThread);
    EXPECT_EQ(received.removeDuplicates(), 0);
    EXPECT_TRUE(received.contains(QStringLiteral("thread 3 record 499")));
}
