// SubdevMutex serialises every call into the router SDK's device functions: the function-call
// rows that read devices, the sub-device monitor, the online-device report and the access-time
// service all take it around their SDK call.
#pragma once

#include <mutex>

extern std::mutex SubdevMutex;

// Holds SubdevMutex for its life. When the lock cannot be taken it logs "Get SubdevMutex failed"
// and owns() is false: the caller answers with a failure code.
class SubdevLock {
public:
    SubdevLock();
    ~SubdevLock();
    SubdevLock(const SubdevLock&) = delete;
    SubdevLock& operator=(const SubdevLock&) = delete;
    bool owns() const { return owns_; }

private:
    bool owns_ = false;
};
