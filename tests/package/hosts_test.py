"""Hosts that are built from nothing but the installed package, and run: above all the examples."""

import functools
import shutil
import sys
import textwrap
import unittest

from support import (DOCUMENTS, GCC, GCC_64, GXX, PREFIX_32, PREFIX_64, STRICT, PackageTest, drive,
                     installed, run, succeed, temporary_folder, wine)

CLANG = shutil.which("clang")
LLD = shutil.which("ld.lld")
MCS = shutil.which("mcs")
MONO = shutil.which("mono")
LLD_LINK = shutil.which("lld-link") or shutil.which("lld-link-14")
LLVM_DLLTOOL = shutil.which("llvm-dlltool") or shutil.which("llvm-dlltool-14")


def configure(source, build, compilers=(GCC, GXX)):
    """Configures another project for Windows, with the installed package."""
    c, cxx = compilers
    return run("cmake", "-S", source, "-B", build, "-G", "Ninja", "-DCMAKE_SYSTEM_NAME=Windows",
               f"-DCMAKE_C_COMPILER={c}", f"-DCMAKE_CXX_COMPILER={cxx}",
               f"-DCMAKE_C_FLAGS={' '.join(STRICT)}", f"-DCMAKE_CXX_FLAGS={' '.join(STRICT)}",
               f"-DCMAKE_PREFIX_PATH={installed()}")


@functools.cache
def built_example(language):
    """The folder with the programs in one language, built by their own CMake project."""
    folder = temporary_folder()
    shutil.copytree(installed() / DOCUMENTS / "examples" / language, folder / "source")
    configured = configure(folder / "source", folder / "build")
    assert configured.returncode == 0, configured.stderr
    succeed("cmake", "--build", folder / "build")
    return folder / "build"


class LinkedByCMake(PackageTest):

    def test_reports_an_open_port(self):
        port = self.open_port()

        result = wine(PREFIX_64, built_example("c") / "linked.exe", "port", str(port))

        self.assertEqual((0, f"port {port} is open\n"), (result.returncode, result.stdout))

    def test_reports_a_closed_port(self):
        port = self.closed_port()

        result = wine(PREFIX_64, built_example("c") / "linked.exe", "port", str(port))

        self.assertEqual((1, f"port {port} is closed\n"), (result.returncode, result.stdout))

    def test_repairs_and_removes_on_64_bit_windows(self):
        host = built_example("c") / "linked.exe"

        repaired = wine(PREFIX_64, host, "repair")
        removed = wine(PREFIX_64, host, "remove")

        self.assertEqual((0, "MendloftFolder: 4, the driver-store folders were rebuilt\n"),
                         (repaired.returncode, repaired.stdout))
        self.assertEqual((0, "MendloftFolder: 0, the driver-store folders are gone\n"),
                         (removed.returncode, removed.stdout))

    def test_removes_on_32_bit_windows_once_the_read_only_file_is_writable(self):
        host = built_example("c") / "linked.exe"
        wine(PREFIX_32, host, "port", "0")  # creates the prefix
        store = drive(PREFIX_32) / "windows/system32/DriverStore/FileRepository"
        shutil.rmtree(store, ignore_errors=True)  # left over from a failed test
        store.mkdir(parents=True)

        repaired = wine(PREFIX_32, host, "repair")
        refused = wine(PREFIX_32, host, "remove")
        for file in store.rglob("usbaapl.PNF"):
            file.chmod(0o644)
        removed = wine(PREFIX_32, host, "remove")

        self.assertEqual("MendloftFolder: 4, the driver-store folders were rebuilt\n",
                         repaired.stdout)
        self.assertEqual("MendloftFolder: 1, not unpacked, or a folder could not be removed\n",
                         refused.stdout)
        self.assertEqual("MendloftFolder: 0, the driver-store folders are gone\n", removed.stdout)


class LoadedAtRunTime(PackageTest):

    def setUp(self):
        super().setUp()
        self.host = shutil.copy(built_example("c") / "loaded.exe", self.work)

    def build_library(self, folder_result):
        """Builds a library next to the host whose MendloftFolder returns this number."""
        (self.work / "library.c").write_text(
            "int MendloftFolder(int repair) { return repair == 1 ? FOLDER_RESULT : 99; }\n"
            "int SetUpUSBDriver(int repair) { return repair == 1 ? 0 : -1; }\n")
        succeed(GCC, "-shared", f"-DFOLDER_RESULT={folder_result}", self.work / "library.c",
                "-o", self.work / "libmendloft.dll")

    def test_reports_that_the_library_is_missing(self):
        result = wine(PREFIX_64, self.host, "install")

        self.assertEqual((1, "libmendloft.dll cannot be loaded: error 126\n"),
                         (result.returncode, result.stdout))

    def test_reports_that_the_installer_tool_is_missing(self):
        shutil.copy(installed() / "bin/libmendloft.dll", self.work)

        result = wine(PREFIX_64, self.host, "install")

        self.assertEqual((1, "SetUpUSBDriver: -2, the installer tool is missing\n"),
                         (result.returncode, result.stdout))

    def test_stops_when_the_folders_could_not_be_rebuilt(self):
        self.build_library(folder_result=1)

        result = wine(PREFIX_64, self.host, "install")

        self.assertEqual((1, "MendloftFolder: the folders could not be rebuilt\n"),
                         (result.returncode, result.stdout))

    def test_removes_without_rebuilding_the_folders(self):
        self.build_library(folder_result=1)

        result = wine(PREFIX_64, self.host, "remove")

        self.assertEqual((1, "SetUpUSBDriver: -1, the driver's INF file is missing\n"),
                         (result.returncode, result.stdout))

    def test_starts_the_installer_tool_of_the_package(self):
        shutil.copytree(installed() / "bin", self.work, dirs_exist_ok=True)

        result = wine(PREFIX_64, self.host, "install")

        self.assertEqual(0, result.returncode)
        self.assertIn("SetUpUSBDriver: 0, the installer tool was run\n", result.stdout)


class LoadedAgain(PackageTest):

    SOURCE = textwrap.dedent("""\
        #include <windows.h>
        #include <mendloft/mendloft.h>
        #include <stdio.h>

        typedef void (*AnyFunction)(void);

        static void Remove(HMODULE library) {
            const MendloftSetupFunction setUp =
                (MendloftSetupFunction)(AnyFunction)GetProcAddress(library, "SetUpNetDriver");
            printf("%d\\n", (int)setUp(0));
        }

        int main(void) {
            HMODULE library = LoadLibraryW(L"libmendloft.dll");
            const MendloftFolderFunction folder =
                (MendloftFolderFunction)(AnyFunction)GetProcAddress(library, "MendloftFolder");
            printf("%d\\n", (int)folder(1));
            Remove(library);
            FreeLibrary(library);
            printf("%d\\n", GetModuleHandleW(L"libmendloft.dll") == NULL);
            Remove(LoadLibraryW(L"libmendloft.dll"));
            return 0;
        }
        """)

    def test_forgets_the_inf_files_that_it_unpacked_before(self):
        (self.work / "host.c").write_text(self.SOURCE)
        succeed(GCC, "-std=c99", *STRICT, f"-I{installed() / 'include'}",
                self.work / "host.c", "-o", self.work / "host.exe")
        shutil.copy(installed() / "bin/libmendloft.dll", self.work)

        result = wine(PREFIX_64, self.work / "host.exe")

        # Rebuilt; INF file found, but no tool; unloaded; INF file forgotten.
        self.assertEqual("4\n-2\n1\n-1\n", result.stdout)


class InCPlusPlus(PackageTest):

    def test_rebuilds_the_folders_and_installs_a_driver_in_two_calls(self):
        result = wine(PREFIX_64, built_example("cpp") / "smallest.exe")

        self.assertEqual(0, result.returncode)
        self.assertIn("The driver-store folders are rebuilt.\n", result.stdout)

    def test_installs_a_driver_on_a_separate_thread(self):
        result = wine(PREFIX_64, built_example("cpp") / "threaded.exe", "usb")

        self.assertEqual(0, result.returncode)
        self.assertIn("usb: 0, the installer tool was run\n", result.stdout)


class NativeHost(PackageTest):
    """A host in a language that has no runtime for Windows here.

    It runs natively, with a native library in the place of libmendloft.dll. In the result of that
    library's AMDPortTest only the lowest byte counts; the other bytes are never zero.
    """

    SOURCE = textwrap.dedent("""\
        int AMDPortTest(int port) { return 0x5A5A5A00 | (port == 27015); }
        int MendloftFolder(int repair) { return repair == 1 ? FOLDER_RESULT : 99; }
        int SetUpUSBDriver(int repair) { return repair == 1 ? 0 : repair == 0 ? -1 : 99; }
        """)

    def build_library(self, folder_result=4):
        (self.work / "library.c").write_text(self.SOURCE)
        succeed(CLANG, "-shared", "-fPIC", "-nostdlib", "-fuse-ld=lld",
                f"-DFOLDER_RESULT={folder_result}", self.work / "library.c",
                "-o", self.work / "libmendloft.dll")


@unittest.skipUnless(MCS and MONO and CLANG and LLD,
                     "mcs, mono, clang or lld is missing: scripts/setup --extras")
class InCSharp(NativeHost):

    def setUp(self):
        super().setUp()
        succeed(MCS, "-warnaserror", "-warn:4", "-platform:x86", f"-out:{self.work / 'Host.exe'}",
                installed() / DOCUMENTS / "examples/csharp/Host.cs")

    def host(self, *arguments):
        result = run(MONO, self.work / "Host.exe", *arguments)
        return result.returncode, result.stdout + result.stderr

    def test_distinguishes_an_open_port_from_a_closed_one(self):
        self.build_library()  # Mono reads one byte with and without the attribute that asks for it

        self.assertEqual((0, "open\n"), self.host("port", "27015"))
        self.assertEqual((0, "closed\n"), self.host("port", "27016"))

    def test_installs_a_driver(self):
        self.build_library()

        self.assertEqual((0, "SetUpUSBDriver: ToolRan\n"), self.host("install"))

    def test_stops_when_the_folders_could_not_be_rebuilt(self):
        self.build_library(folder_result=1)

        self.assertEqual((1, "MendloftFolder: Failed\n"), self.host("install"))

    def test_removes_without_rebuilding_the_folders(self):
        self.build_library(folder_result=1)

        self.assertEqual((1, "SetUpUSBDriver: InfMissing\n"), self.host("remove"))

    def test_shows_how_to_call_it(self):
        self.assertEqual((1, "usage: Host port NUMBER | Host install | Host remove\n"), self.host())


@unittest.skipUnless(CLANG and LLD, "clang or lld is missing: scripts/setup --extras")
class InPython(NativeHost):

    # The host refuses to run unless Python is a 32-bit program for Windows. The imports come first,
    # because they must see the real system.
    AS_ON_WINDOWS = textwrap.dedent("""\
        import ctypes, enum, pathlib, runpy, sys
        sys.platform = "win32"
        ctypes.sizeof = lambda _: 4
        sys.argv = sys.argv[1:]
        runpy.run_path(sys.argv[0], run_name="__main__")
        """)

    def setUp(self):
        super().setUp()
        self.file = shutil.copy(installed() / DOCUMENTS / "examples/python/host.py", self.work)

    def host(self, *arguments):
        result = run(sys.executable, "-B", "-c", self.AS_ON_WINDOWS, self.file, *arguments)
        return result.returncode, result.stdout + result.stderr

    def test_reads_one_byte_of_the_port_test(self):
        self.build_library()

        self.assertEqual((0, "open\n"), self.host("port", "27015"))
        self.assertEqual((0, "closed\n"), self.host("port", "27016"))

    def test_installs_a_driver(self):
        self.build_library()

        self.assertEqual((0, "SetUpUSBDriver: TOOL_RAN\n"), self.host("install"))

    def test_stops_when_the_folders_could_not_be_rebuilt(self):
        self.build_library(folder_result=1)

        self.assertEqual((1, "MendloftFolder: FAILED\n"), self.host("install"))

    def test_removes_without_rebuilding_the_folders(self):
        self.build_library(folder_result=1)

        self.assertEqual((1, "SetUpUSBDriver: INF_MISSING\n"), self.host("remove"))

    def test_shows_how_to_call_it(self):
        self.assertEqual((2, "usage: host.py port NUMBER | host.py install | host.py remove\n"),
                         self.host())

    def test_refuses_a_python_that_cannot_load_the_library(self):
        result = run(sys.executable, "-B", self.file, "install")

        self.assertEqual((1, "libmendloft.dll is a 32-bit library: run this with a 32-bit Python "
                             "for Windows\n"), (result.returncode, result.stderr))


@unittest.skipUnless(shutil.which("pkg-config"), "pkg-config is missing: apt-get install pkgconf")
class LinkedByPkgConfig(PackageTest):

    def pkg_config(self, *arguments):
        folders = installed() / "lib/pkgconfig"
        return succeed("pkg-config", *arguments, "mendloft",
                       env={"PATH": "/usr/bin:/bin", "PKG_CONFIG_LIBDIR": str(folders)}).stdout

    def test_builds_a_host_that_runs(self):
        host = self.work / "linked.exe"
        source = installed() / DOCUMENTS / "examples/c/linked.c"
        flags = self.pkg_config("--cflags", "--libs").split()
        succeed(GCC, "-std=c99", *STRICT, source, "-o", host, *flags)
        shutil.copy(installed() / "bin/libmendloft.dll", self.work)
        port = self.open_port()

        result = wine(PREFIX_32, host, "port", str(port))

        self.assertEqual((0, f"port {port} is open\n"), (result.returncode, result.stdout))

    def test_reports_the_version(self):
        self.assertEqual("1.0.0\n", self.pkg_config("--modversion"))


@unittest.skipUnless(CLANG and LLD_LINK and LLVM_DLLTOOL,
                     "clang, lld-link or llvm-dlltool is missing: scripts/setup --extras")
class LinkedAsByVisualStudio(PackageTest):
    """Without a C library: Visual Studio's is not available, and the import library needs none."""

    SOURCE = textwrap.dedent("""\
        #include <mendloft/mendloft.h>

        const MendloftSetupFunction others[] = {MendloftFolder, SetUpUSBDriver, SetUpNetDriver,
                                                SetUpKisDriver, SetUpRSMDriver,
                                                SetUpAppleUSBDeviceDriver};

        int Start(void);
        int Start(void) {
            return AMDPortTest(PORT) ? 5 : 6;
        }
        """)

    def build(self, port, *options):
        (self.work / "host.c").write_text(self.SOURCE)
        succeed(CLANG, "--target=i686-pc-windows-msvc", "-std=c99", "-ffreestanding", *STRICT,
                *options, f"-DPORT={port}", f"-I{installed() / 'include'}",
                "-c", self.work / "host.c", "-o", self.work / "host.obj")
        succeed(LLD_LINK, "/nologo", "/entry:Start", "/subsystem:console", "/nodefaultlib",
                f"/out:{self.work / 'host.exe'}", self.work / "host.obj",
                installed() / "lib/mendloft.lib")
        shutil.copy(installed() / "bin/libmendloft.dll", self.work)
        return self.work / "host.exe"

    def test_reports_an_open_port(self):
        self.assertEqual(5, wine(PREFIX_64, self.build(self.open_port())).returncode)

    def test_reports_a_closed_port(self):
        self.assertEqual(6, wine(PREFIX_32, self.build(self.closed_port())).returncode)

    def test_uses_the_calling_convention_of_the_header_and_not_the_default(self):
        host = self.build(self.open_port(), "-mrtd")  # like /Gz of Visual Studio

        self.assertEqual(5, wine(PREFIX_64, host).returncode)


class For64BitHosts(PackageTest):

    def test_there_is_no_package(self):
        (self.work / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.21)\n"
            "project(host LANGUAGES C)\n"
            "find_package(mendloft 1.0 REQUIRED)\n")

        result = configure(self.work, self.work / "build", (GCC_64, GXX))

        self.assertNotEqual(0, result.returncode)
        self.assertIn("version: 1.0.0 (32bit)", result.stderr)
