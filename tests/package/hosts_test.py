"""Hosts that are built from nothing but the installed package, and run."""

import functools
import shutil
import textwrap
import unittest

from support import (DOCUMENTS, GCC, GCC_64, GXX, PREFIX_32, PREFIX_64, STRICT, PackageTest, drive,
                     installed, run, succeed, temporary_folder, wine)

CLANG = shutil.which("clang")
LLD_LINK = shutil.which("lld-link") or shutil.which("lld-link-14")
LLVM_DLLTOOL = shutil.which("llvm-dlltool") or shutil.which("llvm-dlltool-14")


def configure(source, build, compilers=(GCC, GXX)):
    """Configures a project outside of this one, with a compiler for Windows and the package."""
    c, cxx = compilers
    return run("cmake", "-S", source, "-B", build, "-G", "Ninja", "-DCMAKE_SYSTEM_NAME=Windows",
               f"-DCMAKE_C_COMPILER={c}", f"-DCMAKE_CXX_COMPILER={cxx}",
               f"-DCMAKE_C_FLAGS={' '.join(STRICT)}", f"-DCMAKE_CXX_FLAGS={' '.join(STRICT)}",
               f"-DCMAKE_PREFIX_PATH={installed()}")


@functools.cache
def built_example(language):
    """The folder with the programs of one example, built by its own CMake project."""
    folder = temporary_folder()
    shutil.copytree(installed() / DOCUMENTS / "examples" / language, folder / "source")
    configured = configure(folder / "source", folder / "build")
    assert configured.returncode == 0, configured.stderr
    succeed("cmake", "--build", folder / "build")
    return folder / "build"


class LinkedByCMake(PackageTest):

    def test_tells_an_open_port(self):
        port = self.open_port()

        result = wine(PREFIX_64, built_example("c") / "linked.exe", "port", str(port))

        self.assertEqual((0, f"port {port} is open\n"), (result.returncode, result.stdout))

    def test_tells_a_closed_port(self):
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
        wine(PREFIX_32, host, "port", "0")  # makes the prefix
        store = drive(PREFIX_32) / "windows/system32/DriverStore/FileRepository"
        shutil.rmtree(store, ignore_errors=True)  # what a failed test may have left
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

    def test_says_so_when_the_library_is_not_beside_it(self):
        result = wine(PREFIX_64, self.host, "install")

        self.assertEqual((1, "libmendloft.dll cannot be loaded: error 126\n"),
                         (result.returncode, result.stdout))

    def test_says_so_when_the_installer_tool_is_not_beside_the_library(self):
        shutil.copy(installed() / "bin/libmendloft.dll", self.work)

        result = wine(PREFIX_64, self.host, "install")

        self.assertEqual((1, "SetUpUSBDriver: -2, the installer tool is missing\n"),
                         (result.returncode, result.stdout))

    def test_runs_the_installer_tool_of_the_package(self):
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

    def test_has_forgotten_the_inf_files_that_it_unpacked(self):
        (self.work / "host.c").write_text(self.SOURCE)
        succeed(GCC, "-std=c99", *STRICT, f"-I{installed() / 'include'}",
                self.work / "host.c", "-o", self.work / "host.exe")
        shutil.copy(installed() / "bin/libmendloft.dll", self.work)

        result = wine(PREFIX_64, self.work / "host.exe")

        # Rebuilt; INF file found, but no tool; unloaded; no INF file any more.
        self.assertEqual("4\n-2\n1\n-1\n", result.stdout)


class InCPlusPlus(PackageTest):

    def test_installs_a_driver_on_a_thread_of_its_own(self):
        result = wine(PREFIX_64, built_example("cpp") / "host.exe", "usb")

        self.assertEqual(0, result.returncode)
        self.assertIn("usb: 0, the installer tool was run\n", result.stdout)


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

    def test_tells_the_version(self):
        self.assertEqual("1.0.0\n", self.pkg_config("--modversion"))


@unittest.skipUnless(CLANG and LLD_LINK and LLVM_DLLTOOL,
                     "clang, lld-link or llvm-dlltool is missing: scripts/setup --extras")
class LinkedInTheMannerOfVisualStudio(PackageTest):
    """Without a C library: Visual Studio's cannot be had here, and the import library needs none."""

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

    def test_tells_an_open_port(self):
        self.assertEqual(5, wine(PREFIX_64, self.build(self.open_port())).returncode)

    def test_tells_a_closed_port(self):
        self.assertEqual(6, wine(PREFIX_32, self.build(self.closed_port())).returncode)

    def test_calls_as_the_header_says_whatever_the_compiler_takes_for_granted(self):
        host = self.build(self.open_port(), "-mrtd")  # what /Gz is to Visual Studio

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
