#include "DeepStack.h"

#include <pthread.h>

#include <exception>
#include <new>

namespace radvex {

namespace {

/// Address space; only what is used becomes memory.
constexpr std::size_t kDeepStack = std::size_t{256} << 20;

struct Work {
    const std::function<void()>& body;
    std::exception_ptr thrown{};
};

void* runWork(void* argument) {
    auto& work = *static_cast<Work*>(argument);
    try {
        work.body();
    } catch (...) {
        work.thrown = std::current_exception();
    }
    return nullptr;
}

bool runThread(Work& work) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_t thread{};
    const bool isRunning = pthread_attr_setstacksize(&attributes, kDeepStack) == 0 &&
                           pthread_create(&thread, &attributes, runWork, &work) == 0;
    pthread_attr_destroy(&attributes);
    if (isRunning) {
        pthread_join(thread, nullptr);
    }
    return isRunning;
}

} // namespace

void onDeepStack(const std::function<void()>& body) {
    Work work{body};
    if (!runThread(work)) {
        throw std::bad_alloc();
    }
    if (work.thrown != nullptr) {
        std::rethrow_exception(work.thrown);
    }
}

} // namespace radvex
