#include "install/reenumerate.h"

#include <windows.h>
#include <cfgmgr32.h>

#include "platform/diagnostics.h"

namespace {

bool Succeeded(CONFIGRET code, const char* failure) {
    if (code == CR_SUCCESS) return true;
    (void)ConsolePrintA(failure, code);
    return false;
}

}  // namespace

std::int32_t ReenumerateDevices() {
    DEVINST root = 0;
    if (!Succeeded(::CM_Locate_DevNodeW(&root, nullptr, CM_LOCATE_DEVNODE_NORMAL),
                   "CM_Locate_DevNode failed: %x\n")) {
        return 0;
    }
    if (!Succeeded(::CM_Reenumerate_DevNode(root, CM_REENUMERATE_NORMAL),
                   "CM_Reenumerate_DevNode failed: %x\n")) {
        return 0;
    }
    return 1;
}
