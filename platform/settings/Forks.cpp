#include "Forks.h"

#include <pthread.h>

#include <atomic>

namespace settings {
namespace {

std::atomic<unsigned> forks{0};

void OnFork()
{
    ++forks;
}

} // namespace

unsigned Forks()
{
    static const int registered = pthread_atfork(nullptr, nullptr, &OnFork);
    static_cast<void>(registered);
    return forks;
}

} // namespace settings
