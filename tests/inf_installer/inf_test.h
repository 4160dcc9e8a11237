#pragma once

#include <windows.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/paths.h"
#include "common/published_infs.h"
#include "inf_installer/inf_file.h"
#include "platform/directory_listing.h"
#include "support/fake_os.h"
#include "support/temporary_folder.h"

// The INF file of a package of one driver. A different `remark` makes a different
// package.
[[nodiscard]] inline std::string PackageText(const std::string& remark = "",
                                             const std::string& catalog = "") {
    return "[Version]\r\nSignature=\"$Windows NT$\"\r\nClass=USB\r\n"
           "ClassGuid={36FC9E60-C465-11CF-8056-444553540000}\r\nProvider=%Maker%\r\n"
           "DriverVer=01/02/2020,1.0.0.0\r\n" +
           (catalog.empty() ? "" : "CatalogFile=" + catalog + "\r\n") +
           "[SourceDisksNames]\r\n1=disk\r\n[SourceDisksFiles]\r\nstand_in.sys=1\r\n"
           "[DestinationDirs]\r\nDefaultDestDir=12\r\n"
           "[Manufacturer]\r\n%Maker%=Models,NTamd64\r\n"
           "[Models]\r\nDevice=Setup,USB\\VID_FFFF&PID_0001\r\n"
           "[Models.NTamd64]\r\nDevice=Setup,USB\\VID_FFFF&PID_0001\r\n"
           "[Setup]\r\nCopyFiles=Files\r\n[Files]\r\nstand_in.sys\r\n"
           "[Strings]\r\nMaker=\"Tests\"\r\n; " +
           remark + "\r\n";
}

// Gives every test a folder for packages, and restores Windows' INF folder and driver store
// afterwards.
class InfTest : public testing::Test {
protected:
    InfTest() : before_(Published()), storedBefore_(Stored()) {
        RemoveFolder();
        EXPECT_TRUE(::CreateDirectoryW(Folder().c_str(), nullptr));
    }
    ~InfTest() override {
        RemoveFolder();
        for (const auto& [name, content] : Published()) {
            if (before_.contains(name)) continue;
            const std::wstring path = tools::PublishedPath(name);
            ::DeleteFileW(path.c_str());
            ::DeleteFileW((path.substr(0, path.size() - 4) + L".pnf").c_str());
        }
        for (const std::wstring& name : Stored()) {
            if (!storedBefore_.contains(name)) RemoveTree(DriverStore() + name);
        }
    }

    using Contents = std::map<std::wstring, std::string>;

    [[nodiscard]] static std::wstring Folder() { return L"C:\\inf installer test"; }

    static std::wstring Write(const std::wstring& path, const std::string& content) {
        const UniqueFile file(
            ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        DWORD written = 0;
        EXPECT_TRUE(::WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()),
                                &written, nullptr));
        return path;
    }

    // Writes an INF file below the folder of packages, with the driver that PackageText() names
    // beside it, and returns its path.
    static std::wstring WritePackage(const std::wstring& name, const std::string& content) {
        const std::wstring path = Folder() + L"\\" + name;
        ::CreateDirectoryW(path.substr(0, path.rfind(L'\\')).c_str(), nullptr);
        (void)Write(DriverOf(path), "a driver");
        return Write(path, content);
    }

    // The path of the driver in the package of the INF file at `path`.
    static std::wstring DriverOf(const std::wstring& path) {
        return path.substr(0, path.rfind(L'\\')) + L"\\stand_in.sys";
    }

    // Puts a file where Windows publishes INF files.
    static void Publish(const std::wstring& name, const std::string& content) {
        Write(tools::PublishedPath(name), content);
    }

    // Every INF file in Windows' INF folder, byte for byte.
    [[nodiscard]] static Contents Published() {
        Contents contents;
        (void)ForEachEntry(tools::PublishedPath(L"*.inf"), [&](const WIN32_FIND_DATAW& entry) {
            contents[entry.cFileName] =
                installer::ReadBytes(tools::PublishedPath(entry.cFileName)).value_or("unreadable");
        });
        return contents;
    }

    // The packages in the driver store, whose folder this 32-bit program reaches past the
    // redirection of System32. Wine 8 has no such folder.
    [[nodiscard]] static std::set<std::wstring> Stored() {
        std::set<std::wstring> names;
        (void)ForEachEntry(DriverStore() + L"*", [&](const WIN32_FIND_DATAW& entry) {
            if (!IsSelfOrParent(entry)) names.insert(entry.cFileName);
        });
        return names;
    }

    [[nodiscard]] static std::wstring DriverStore() {
        return tools::WindowsFolder() + (PrefixIs64Bit() ? L"\\sysnative" : L"\\system32") +
               L"\\DriverStore\\FileRepository\\";
    }

    // What has been published since the test began.
    [[nodiscard]] Contents NewlyPublished() const {
        Contents added = Published();
        for (const auto& [name, content] : before_) added.erase(name);
        return added;
    }

    [[nodiscard]] const Contents& PublishedBefore() const { return before_; }

private:
    // A program that a test has started may have its output file open for a moment after it has
    // ended, and what is open cannot be removed.
    static void RemoveFolder() {
        constexpr int attempts = 1000;
        for (int i = 0; i < attempts && Exists(Folder()); ++i) {
            if (i > 0) ::Sleep(10);
            RemoveTree(Folder());
        }
    }

    Contents before_;
    std::set<std::wstring> storedBefore_;
};
