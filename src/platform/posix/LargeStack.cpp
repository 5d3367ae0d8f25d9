#include "platform/posix/LargeStack.h"

#include <pthread.h>

namespace {

void* runWork(void* work) {
    (*static_cast<const std::function<void()>*>(work))();
    return nullptr;
}

} // namespace

void runOnLargeStack(const std::function<void()>& work, size_t stackBytes) {
    pthread_attr_t attributes;
    pthread_t thread;
    bool started = pthread_attr_init(&attributes) == 0;
    if (started) {
        started = pthread_attr_setstacksize(&attributes, stackBytes) == 0 &&
                  pthread_create(&thread, &attributes, runWork, const_cast<std::function<void()>*>(&work)) == 0;
        pthread_attr_destroy(&attributes);
    }
    if (!started) {
        work();
        return;
    }
    pthread_join(thread, nullptr);
}
