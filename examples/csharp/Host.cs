// A host in C#, to be built for x86 (<PlatformTarget>x86</PlatformTarget>), with libmendloft.dll and
// the folder files beside it.
//
//   Host port NUMBER | Host install | Host remove
using System;
using System.Runtime.InteropServices;
using System.Threading.Tasks;

enum FolderResult { Gone = 0, Failed = 1, OldSystem = 2, Built = 4 }

enum SetupResult { ToolRan = 0, InfMissing = -1, ToolMissing = -2, ToolNotStarted = -3 }

static class Mendloft
{
    const string Library = "libmendloft.dll";
    const CallingConvention Convention = CallingConvention.Cdecl;

    // One byte is the answer; without I1 the runtime would look at four.
    [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
    [DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory)]
    [return: MarshalAs(UnmanagedType.I1)]
    public static extern bool AMDPortTest(int port);

    [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
    [DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory)]
    public static extern FolderResult MendloftFolder(int repair);

    // SetUpNetDriver, SetUpKisDriver, SetUpRSMDriver and SetUpAppleUSBDeviceDriver look the same.
    [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
    [DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory)]
    public static extern SetupResult SetUpUSBDriver(int repair);
}

static class Host
{
    // Waits for the installer tool without blocking the caller's thread. Await it before the next call.
    static Task<SetupResult> SetUpUsbAsync(bool install)
    {
        return Task.Run(() => Mendloft.SetUpUSBDriver(install ? 1 : 0));
    }

    static int Main(string[] arguments)
    {
        int port;
        if (arguments.Length == 2 && arguments[0] == "port" && int.TryParse(arguments[1], out port))
        {
            Console.WriteLine(Mendloft.AMDPortTest(port) ? "open" : "closed");
            return 0;
        }
        if (arguments.Length == 1 && (arguments[0] == "install" || arguments[0] == "remove"))
        {
            SetupResult result = SetUpUsbAsync(arguments[0] == "install").Result;
            Console.WriteLine("SetUpUSBDriver: {0}", result);
            return result == SetupResult.ToolRan ? 0 : 1;
        }
        Console.Error.WriteLine("usage: Host port NUMBER | Host install | Host remove");
        return 1;
    }
}
