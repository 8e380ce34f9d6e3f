#include "platform/Dispatch.h"

#include <atomic>

namespace {

std::atomic<FunctionCallHandler> gFunctionCall{nullptr};
std::atomic<PlugDataHandler> gPlugData{nullptr};

}  // namespace

void SetFunctionCallHandler(FunctionCallHandler handler) {
    gFunctionCall = handler;
}
void SetPlugDataHandler(PlugDataHandler handler) {
    gPlugData = handler;
}
