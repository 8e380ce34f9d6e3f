// Controls of the simulator itself, not part of the router library's interface: for harnesses
// that run many independent inputs in one process.
#pragma once

extern "C" {

// Drops the in-memory state; the next call starts again from the bundled default (or from the
// state file named by PLUG_SDK_STATE). Lets each input of a fuzz harness start from the same
// router, so the state does not grow from input to input.
__attribute__((visibility("default"))) void RouterSdkSimReset(void);
}
