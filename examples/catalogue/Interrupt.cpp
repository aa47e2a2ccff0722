#include <examples/catalogue/Interrupt.h>

#include <csignal>

namespace Client {

namespace {

volatile std::sig_atomic_t signalCame = 0;

void takeNote(int)
{
    signalCame = 1;
}

} // namespace

void watchForInterrupt()
{
    struct sigaction action = {};
    action.sa_handler = takeNote;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interrupted()
{
    return signalCame != 0;
}

} // namespace Client
