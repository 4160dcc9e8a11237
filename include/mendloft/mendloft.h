/*
 * The functions of libmendloft.dll, in plain C: for C99 and later and for C++.
 *
 * The library repairs the Windows side of Apple's device support. It is a 32-bit library, so the
 * host must be a 32-bit program. Each function below is exported under exactly its name, takes one
 * 32-bit argument, runs to completion on the caller's thread and returns a small number. There is
 * nothing to initialise, shut down or release. A host either links one of the import libraries or
 * gets the functions with GetProcAddress; the pointer types at the end are for the latter.
 *
 * Threads: AMDPortTest may be called from any thread, and from several at once. Call the other six
 * one at a time, from any thread: they share the staging folder, the driver-store folders and two
 * paths that the library remembers while it is loaded, and none of these is locked.
 *
 * Rights: the six repair and setup functions need an elevated administrator. Without elevation they
 * still return, but whatever Windows refuses is not done, and often the result does not show it.
 *
 * Errors: the functions report by their results; they do not set a last error. AMDPortTest does
 * nothing else. The other six raise an exception when memory runs out, or when the driver archive
 * is damaged so that the properties of an item cannot be read. They have released everything by
 * then, and the library can be called again. It is an exception of Microsoft's C++ runtime: a
 * std::bad_alloc, or a _com_error with an HRESULT. C++ code that is built for it can catch it. To
 * all other code it is a structured exception with the code 0xE06D7363, which ends the process
 * unless something handles it. The library must not be unloaded before it has been handled.
 *
 * Loading the library fails (ERROR_DLL_INIT_FAILED) when there is too little memory for it.
 *
 * The declarations name __cdecl, so a host that is compiled with another default calling convention
 * (/Gz, -mrtd) calls the functions correctly too.
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
    /* After a removal: none of the driver-store folders exists any longer. */
    kMendloftFoldersGone = 0,

    /*
     * The driver archive could not be unpacked into the staging folder, and the driver store was
     * not touched; or, after a removal, a driver-store folder still exists.
     */
    kMendloftFoldersFailed = 1,

    /* Windows is older than Vista. Nothing was touched. */
    kMendloftFoldersOldSystem = 2,

    /*
     * After a repair: the driver archive was unpacked, and the driver-store folders were created,
     * secured and filled as far as Windows allowed. The result does not show refused steps.
     */
    kMendloftFoldersBuilt = 4
};

/* What the five SetUp functions return. */
enum MendloftSetupResult {
    /*
     * The installer tool was started and has ended, and Windows was asked to rescan devices.
     * Whether the tool succeeded is not checked.
     */
    kMendloftSetupToolRan = 0,

    /* The INF file of the driver package was not found. The installer tool was not started. */
    kMendloftSetupInfMissing = -1,

    /* There is no installer tool in files\inf next to the library. */
    kMendloftSetupToolMissing = -2,

    /* Windows could not start the installer tool. */
    kMendloftSetupToolNotStarted = -3
};

/*
 * Returns whether something accepts TCP connections at `port` of 127.0.0.1, as the Apple Mobile
 * Device Service does while it runs. Of `port` only the low 16 bits count: 65536 + p tests p.
 *
 * Connects and disconnects. Sends nothing, and discards what the service may send. Takes as long as
 * Windows takes to connect; the library sets no time limit. Also returns false if no socket could
 * be created. Only the low byte of the return register is the answer, which is what a C or C++
 * `bool` is. A language that reads 32 bits must declare a one-byte result (C#: UnmanagedType.I1).
 *
 * Side effect: Windows Sockets is started in the process and never shut down.
 */
bool __cdecl AMDPortTest(int32_t port);

/*
 * Rebuilds (`repair` true) or removes (`repair` false) the driver-store folders of the two older
 * driver packages, Apple's USB and network drivers. Returns an enum MendloftFolderResult.
 *
 * The argument of this function and of those below is a boolean of which only the low byte counts:
 * 0x100 is false.
 *
 * Side effects, in this order:
 * - every process named WerFault.exe is terminated;
 * - the restore and backup privileges are enabled in the process's token and stay enabled, and one
 *   handle to the token is left open;
 * - the driver archive is written into the folder "mendloft" in the temporary directory and is
 *   unpacked there, over existing files; nothing of it is deleted afterwards;
 * - a repair creates the driver-store folders, gives each a new access list (everyone may read,
 *   administrators may do everything) and, if Windows refuses that, a new owner (the Administrators
 *   group), copies the USB driver's files into them, and remembers the unpacked INF files for the
 *   SetUp functions;
 * - a removal deletes the driver-store folders with everything in them.
 */
int32_t __cdecl MendloftFolder(int32_t repair);

/*
 * Each of these installs (`repair` true) or removes (`repair` false) one driver package. It starts
 * the installer tool, files\inf\InfInstallerx64.exe or InfInstallerx86.exe next to the library,
 * without a window, waits for its end without a time limit, and asks Windows to rescan devices.
 * Returns an enum MendloftSetupResult.
 *
 * Side effects: those of the installer tool; one line on the debugger output; and those of
 * MendloftFolder if the package has to be taken from the driver archive, as described below. The
 * result does not show whether that preparation worked, except as a missing INF file.
 */

/*
 * Apple's USB driver (usbaapl) and network driver (netaapl). The INF file is that of an installed
 * Apple Mobile Device Support, if there is one. Otherwise it is the one from the driver archive:
 * the first such call does everything that MendloftFolder does with the same argument. While the
 * library stays loaded, later calls use the same unpacked file, even if it no longer exists.
 *
 * SetUpNetDriver can remove only an installed package, or one for which a repair came first in the
 * same process; otherwise it returns kMendloftSetupInfMissing.
 */
int32_t __cdecl SetUpUSBDriver(int32_t repair);
int32_t __cdecl SetUpNetDriver(int32_t repair);

/*
 * The AppleKIS, AppleRSM and Apple USB device filter (AppleUsb) packages. The driver archive is
 * unpacked on every call; the driver-store folders are not touched. The packages exist for 64-bit
 * Windows only: on 32-bit Windows, and on Windows for ARM64, the result is
 * kMendloftSetupInfMissing.
 */
int32_t __cdecl SetUpKisDriver(int32_t repair);
int32_t __cdecl SetUpRSMDriver(int32_t repair);
int32_t __cdecl SetUpAppleUSBDeviceDriver(int32_t repair);

/* For GetProcAddress: the types of AMDPortTest, MendloftFolder and the five SetUp functions. */
typedef bool(__cdecl* MendloftPortTestFunction)(int32_t port);
typedef int32_t(__cdecl* MendloftFolderFunction)(int32_t repair);
typedef int32_t(__cdecl* MendloftSetupFunction)(int32_t repair);

#ifdef __cplusplus
}
#endif
