#include "auth/process_objects.h"

#include "auth/parked_handles.h"

namespace zelto {
namespace {

struct ProcessObjects {
    HANDLE moduleLock; // unnamed mutex
    HANDLE stopEvent;  // unnamed auto-reset event
};

ProcessObjects CreateOrTakeUp() noexcept {
    HANDLE parked[2] = {};
    if (TakeParkedHandles(parked)) {
        ResetEvent(parked[1]); // a stop that an earlier load was given is not this one's
        return {parked[0], parked[1]};
    }
    return {CreateMutexW(nullptr, FALSE, nullptr), CreateEventW(nullptr, FALSE, FALSE, nullptr)};
}

const ProcessObjects processObjects = CreateOrTakeUp();

} // namespace

HANDLE ModuleLock() noexcept {
    return processObjects.moduleLock;
}

HANDLE StopEvent() noexcept {
    return processObjects.stopEvent;
}

void LeaveProcessObjects() noexcept {
    ParkHandles({processObjects.moduleLock, processObjects.stopEvent});
}

} // namespace zelto
