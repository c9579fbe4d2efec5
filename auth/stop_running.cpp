#include "auth/process_objects.h"
#include "zelto_auth.h"

#include <windows.h>

int32_t StopRunningZeltoAuth(void) {
    return SetEvent(zelto::StopEvent());
}
