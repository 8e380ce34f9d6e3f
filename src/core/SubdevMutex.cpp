#include "core/SubdevMutex.h"

#include <system_error>

#include "core/Log.h"

std::mutex SubdevMutex;

SubdevLock::SubdevLock() {
    try {
        SubdevMutex.lock();
        owns_ = true;
    } catch (const std::system_error&) {
        LOGE("Get SubdevMutex failed");
    }
}

SubdevLock::~SubdevLock() {
    if (owns_) SubdevMutex.unlock();
}
