/*
 * libmendloft.dll, for hosts: plain C, for C99 and later and for C++.
 *
 * The library repairs the Windows side of Apple's device support. It is a 32-bit library, so the
 * host is a 32-bit program. Each function below is exported under its very name, takes one 32-bit
 * argument, runs to its end on the caller's thread and returns a small number; there is no set-up,
 * no shut-down and nothing to release. A host either links one of the import libraries or fetches
 * the functions with GetProcAddress, for which the pointer types at the end are meant.
 *
 * Threads: AMDPortTest may be called from any thread, and from several at once. Of the other six
 * make one call at a time: they share the staging folder, the driver-store folders and two paths
 * that the library remembers for as long as it is loaded, and nothing of that is locked. Any thread
 * will do.
 *
 * Rights: the six repair and setup functions need an elevated administrator. Without one they still
 * return, but what Windows refuses stays undone, often without a word in the result.
 *
 * Errors: what can be told is told by the result; no last error is set. The process ends when
 * memory runs out, and when the driver archive is damaged so that the properties of an item cannot
 * be read: the library then throws, and an exception does not pass from its runtime into the
 * host's.
 *
 * __cdecl is spelt out so that a host whose compiler takes another convention for granted (/Gz,
 * -mrtd) calls the functions rightly all the same.
 */
#pragma once

#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What MendloftFolder returns. */
enum MendloftFolderResult {
    /* After a removal: none of the driver-store folders is there any more. */
    kMendloftFoldersGone = 0,

    /*
     * The driver archive could not be unpacked into the staging folder, and the driver store was
     * not touched; or, after a removal, one of the driver-store folders is still there.
     */
    kMendloftFoldersFailed = 1,

    /* Windows is older than Vista. Nothing was touched. */
    kMendloftFoldersOldSystem = 2,

    /*
     * After a repair: the driver archive was unpacked, and the driver-store folders were created,
     * secured and filled as far as Windows let it. A step that Windows refused does not show.
     */
    kMendloftFoldersBuilt = 4
};

/* What the five SetUp functions return. */
enum MendloftSetupResult {
    /*
     * The installer tool was started and has ended, and Windows was asked to look for devices
     * again. Whether the tool succeeded is not looked at.
     */
    kMendloftSetupToolRan = 0,

    /* There is no INF file where it was looked for. The installer tool was not started. */
    kMendloftSetupInfMissing = -1,

    /* There is no installer tool in files\inf beside the library. */
    kMendloftSetupToolMissing = -2,

    /* Windows could not start the installer tool. */
    kMendloftSetupToolNotStarted = -3
};

/*
 * Whether something accepts TCP connections at `port` of 127.0.0.1, as the Apple Mobile Device
 * Service does when it runs. Of `port` only the low 16 bits count: 65536 + p tests p.
 *
 * Connects and hangs up again, sends nothing, and throws away what the service may send. Takes as
 * long as Windows takes to connect; the library sets no limit of its own. Returns false also when
 * no socket could be had. Only the low byte of the return register is the answer, which is what a C
 * or C++ `bool` is; a language that reads 32 bits has to be told (C#: UnmanagedType.I1).
 *
 * Side effect: Windows Sockets is started in the process and never shut down.
 */
bool __cdecl AMDPortTest(int32_t port);

/*
 * Rebuilds (`repair` true) or removes (`repair` false) the driver-store folders of the two older
 * driver packages, Apple's USB and network drivers. Returns an enum MendloftFolderResult.
 *
 * Like that of all functions below, the argument is a boolean of which only the low byte counts:
 * 0x100 is false.
 *
 * Side effects, in this order:
 * - every process named WerFault.exe is ended;
 * - the restore and backup privileges are enabled in the process's token and stay so, and one
 *   handle to the token is left open;
 * - the driver archive is written into the folder "mendloft" in the temporary directory and is
 *   unpacked there, over what may lie there; all of it stays;
 * - a repair creates the driver-store folders, gives each a new access list (everyone may read,
 *   administrators may do all) and, where Windows refuses that, a new owner (the Administrators
 *   group), copies the USB driver's files into them, and remembers the unpacked INF files for the
 *   SetUp functions;
 * - a removal deletes the driver-store folders with all that is in them.
 */
int32_t __cdecl MendloftFolder(int32_t repair);

/*
 * Each of these installs (`repair` true) or removes (`repair` false) one driver package: it runs
 * the installer tool, files\inf\InfInstallerx64.exe or InfInstallerx86.exe beside the library,
 * without a window, waits for its end with no time limit, and has Windows enumerate its devices
 * again. Returns an enum MendloftSetupResult.
 *
 * Side effects: those of the installer tool; one line on the debugger output; and those of
 * MendloftFolder whenever the package has to be taken from the driver archive, as told below. What
 * comes of that preparation does not show in the result, except as a missing INF file.
 */

/*
 * Apple's USB driver (usbaapl) and network driver (netaapl). The INF file is that of an installed
 * Apple Mobile Device Support, if there is one. Otherwise it is the one from the driver archive:
 * the first such call does all that MendloftFolder does with the same argument, and while the
 * library stays loaded later ones use the same unpacked file, even when it has gone since.
 *
 * SetUpNetDriver can remove only an installed package, or one for which a repair came first in the
 * same process; otherwise it returns kMendloftSetupInfMissing.
 */
int32_t __cdecl SetUpUSBDriver(int32_t repair);
int32_t __cdecl SetUpNetDriver(int32_t repair);

/*
 * The AppleKIS, AppleRSM and Apple USB device filter (AppleUsb) packages. The driver archive is
 * unpacked on every call; the driver-store folders are left alone. The packages exist for 64-bit
 * Windows only: on 32-bit Windows, and on Windows for ARM64, the result is
 * kMendloftSetupInfMissing.
 */
int32_t __cdecl SetUpKisDriver(int32_t repair);
int32_t __cdecl SetUpRSMDriver(int32_t repair);
int32_t __cdecl SetUpAppleUSBDeviceDriver(int32_t repair);

/* For GetProcAddress: what AMDPortTest, MendloftFolder and the five SetUp functions are. */
typedef bool(__cdecl* MendloftPortTestFunction)(int32_t port);
typedef int32_t(__cdecl* MendloftFolderFunction)(int32_t repair);
typedef int32_t(__cdecl* MendloftSetupFunction)(int32_t repair);

#ifdef __cplusplus
}
#endif
