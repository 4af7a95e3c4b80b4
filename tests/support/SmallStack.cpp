#include "tests/support/SmallStack.h"

#include <pthread.h>

#include <stdexcept>

namespace radvex::test {

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t kSmallStack = std::size_t{4} << 20;
#else
constexpr std::size_t kSmallStack = std::size_t{256} << 10;
#endif

void* runBody(void* argument) {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
}

} // namespace

void onSmallStack(const std::function<void()>& body) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kSmallStack);
    pthread_t thread{};
    auto* const argument = const_cast<void*>(static_cast<const void*>(&body));
    const int error = pthread_create(&thread, &attributes, runBody, argument);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        throw std::runtime_error("No thread can be made.");
    }
    pthread_join(thread, nullptr);
}

} // namespace radvex::test
