// The access-time service: a worker that applies the surf-rule table to the router's LAN devices
// every 30 seconds, switching a device's access off inside a rule period and on again outside.
#pragma once

#include <atomic>

// 1 while the service runs; StopEaccess clears it and wakes the worker.
extern std::atomic<int> pollRun;

// Starts the service thread (EaccessThread). 0; when the thread cannot be created, logs
// "Create EaccessThread feiled !!!!!", writes status 102 and returns the status writer's result.
int StartEaccess();
// Stops the worker and joins the service thread; nothing when the service is not running.
void StopEaccess();

// The service thread's body: no_feeling_daemon(1, 99, 6100); 0.
int EaccessThread();
// Empties the surf-rule table, runs the start-up thread and the worker and waits for both.
// 0, -3 when a thread could not be created, -7 when the worker could not be joined.
int no_feeling_daemon(int a, int b, int c);
// The start-up step, run on its own short-lived thread with the third start parameter.
void thread_epoll(int param);
// The worker: a pass every 30 s until pollRun is cleared. 0.
int TimeRuleProc();
// One pass over every device, under SubdevMutex.
void surf_rule_func();
