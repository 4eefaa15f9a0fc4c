#include "platform/wait_hook.h"

namespace platform {
namespace {

thread_local WaitHook hookInUse = nullptr;
thread_local void* hookContext = nullptr;
thread_local bool waitsEnded = false;

}  // namespace

void setWaitHook(WaitHook hook, void* context) {
    hookInUse = hook;
    hookContext = context;
    waitsEnded = false;
}

bool hasWaitHook() {
    return hookInUse != nullptr;
}

bool askWaitHook() {
    waitsEnded = waitsEnded || (hookInUse && hookInUse(hookContext) != 0);
    return waitsEnded;
}

bool areWaitsEnded() {
    return waitsEnded;
}

}  // namespace platform
