// Starting the agent's threads: each is named (so top -H and gdb show who is who) and nothing
// escapes its body: an exception is logged and ends only that thread.
#pragma once

#include <pthread.h>

#include <cerrno>
#include <exception>
#include <system_error>
#include <thread>

#include "core/Log.h"

// Runs `body` on the calling thread under `name` (at most 15 characters are shown).
template <typename F>
void RunNamedThread(const char* name, F body) {
    pthread_setname_np(pthread_self(), name);
    try {
        body();
    } catch (const std::exception& e) {
        LOGE("thread %s ended by exception: %s", name, e.what());
    } catch (...) {
        LOGE("thread %s ended by unknown exception", name);
    }
}

// Starts `body` as the thread *t. false, with errno set, when the thread cannot be created.
template <typename F>
bool StartNamedThread(std::thread* t, const char* name, F body) {
    try {
        *t = std::thread([name, body] { RunNamedThread(name, body); });
        return true;
    } catch (const std::system_error& e) {
        errno = e.code().value();
        return false;
    }
}
