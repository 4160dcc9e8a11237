// The smallest host: rebuilds the driver-store folders, then installs Apple's USB driver.
#include <mendloft/mendloft.h>

#include <cstdio>

int main() {
    if (MendloftFolder(true) != kMendloftFoldersBuilt) return 1;
    std::puts("The driver-store folders are rebuilt.");
    return SetUpUSBDriver(true) == kMendloftSetupToolRan ? 0 : 1;
}
