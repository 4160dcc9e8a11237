/*
 * A host that links an import library: Windows loads libmendloft.dll when the program starts.
 *
 *   linked port NUMBER    test whether something listens on this port of this computer
 *   linked repair         rebuild the driver-store folders
 *   linked remove         remove them
 */
#include <mendloft/mendloft.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char* Meaning(int32_t result) {
    switch (result) {
        case kMendloftFoldersGone:
            return "the driver-store folders are gone";
        case kMendloftFoldersFailed:
            return "not unpacked, or a folder could not be removed";
        case kMendloftFoldersOldSystem:
            return "Windows is older than Vista";
        case kMendloftFoldersBuilt:
            return "the driver-store folders were rebuilt";
        default:
            return "a result that this program does not know";
    }
}

static int TestPort(int32_t port) {
    const bool open = AMDPortTest(port);
    printf("port %d is %s\n", (int)port, open ? "open" : "closed");
    return open ? EXIT_SUCCESS : EXIT_FAILURE;
}

static int FixFolders(bool repair) {
    const int32_t result = MendloftFolder(repair);
    printf("MendloftFolder: %d, %s\n", (int)result, Meaning(result));
    return result == (repair ? kMendloftFoldersBuilt : kMendloftFoldersGone) ? EXIT_SUCCESS
                                                                             : EXIT_FAILURE;
}

int main(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "port") == 0) return TestPort(atoi(argv[2]));
    if (argc == 2 && strcmp(argv[1], "repair") == 0) return FixFolders(true);
    if (argc == 2 && strcmp(argv[1], "remove") == 0) return FixFolders(false);
    fputs("usage: linked port NUMBER | linked repair | linked remove\n", stderr);
    return EXIT_FAILURE;
}
