// A host in C#. Build it for x86 (<PlatformTarget>x86</PlatformTarget>) and put libmendloft.dll and the
// folder "files" next to it.
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

    // The result is one byte; without I1 the runtime reads four.
    [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
    [DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory)]
    [return: MarshalAs(UnmanagedType.I1)]
    public static extern bool AMDPortTest(int port);

    [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
    [DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory)]
    public static extern FolderResult MendloftFolder(int repair);

    // SetUpNetDriver, SetUpKisDriver, SetUpRSMDriver and SetUpAppleUSBDeviceDriver are declared alike.
    [DllImport(Library, CallingConvention = Convention, ExactSpelling = true)]
    [DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory)]
    public static extern SetupResult SetUpUSBDriver(int repair);
}

static class Host
{
    // The caller's thread is not blocked while the installer tool runs. Await the task before the
    // next call.
    static Task<SetupResult> SetUpUsbAsync(bool install)
    {
        return Task.Run(() => Mendloft.SetUpUSBDriver(install ? 1 : 0));
    }

    static int SetUpUsb(bool install)
    {
        // SetUpUSBDriver does not report that the driver archive could not be unpacked.
        FolderResult folders = install ? Mendloft.MendloftFolder(1) : FolderResult.Built;
        if (folders != FolderResult.Built)
        {
            Console.WriteLine("MendloftFolder: {0}", folders);
            return 1;
        }
        SetupResult result = SetUpUsbAsync(install).Result;
        Console.WriteLine("SetUpUSBDriver: {0}", result);
        return result == SetupResult.ToolRan ? 0 : 1;
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
            return SetUpUsb(arguments[0] == "install");
        Console.Error.WriteLine("usage: Host port NUMBER | Host install | Host remove");
        return 1;
    }
}
