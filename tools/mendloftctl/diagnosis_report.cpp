#include <array>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "common/text.h"
#include "mendloftctl/device_service.h"
#include "mendloftctl/diagnosis.h"

namespace ctl {

using tools::ToUtf8;

namespace {

using Json = nlohmann::ordered_json;

// In UTC and in the notation of ISO 8601; empty for a time that Windows cannot represent.
std::string Time(const FILETIME& time) {
    SYSTEMTIME utc{};
    if (!::FileTimeToSystemTime(&time, &utc)) return "";
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04u-%02u-%02uT%02u:%02u:%02uZ", unsigned{utc.wYear},
                  unsigned{utc.wMonth}, unsigned{utc.wDay}, unsigned{utc.wHour},
                  unsigned{utc.wMinute}, unsigned{utc.wSecond});
    return text.data();
}

std::string Version(const RTL_OSVERSIONINFOW& windows) {
    return std::to_string(windows.dwMajorVersion) + "." + std::to_string(windows.dwMinorVersion) +
           "." + std::to_string(windows.dwBuildNumber);
}

Json ToJson(const FileFacts& file) {
    Json json{{"path", ToUtf8(file.path)}, {"exists", file.exists}};
    if (!file.version.empty()) json["version"] = ToUtf8(file.version);
    return json;
}

Json ToJson(const FolderEntry& entry) {
    Json json{{"path", ToUtf8(entry.path)}, {"folder", entry.isFolder}};
    if (entry.isFolder) return json;
    json["size"] = entry.size;
    json["modified"] = Time(entry.modified);
    json["read_only"] = entry.isReadOnly;
    return json;
}

Json ToJson(const FolderFacts& folder) {
    Json json{{"path", ToUtf8(folder.path)}, {"exists", folder.exists}, {"entries", Json::array()}};
    for (const FolderEntry& entry : folder.entries) json["entries"].push_back(ToJson(entry));
    return json;
}

Json ToJson(const PackageFacts& package) {
    Json json{{"package", package.name}};
    json["installed_inf"] =
        package.installedInf.path.empty() ? Json(nullptr) : ToJson(package.installedInf);
    json["staged_inf"] = ToJson(package.stagedInf);
    json["published_infs"] = Json::array();
    for (const FileFacts& inf : package.publishedInfs)
        json["published_infs"].push_back(ToJson(inf));
    return json;
}

// The width leaves room for the longest title, so that the texts form a column.
std::string Line(const std::string& title, const std::string& text) {
    constexpr std::size_t width = 18;
    return title + std::string(title.size() < width ? width - title.size() : 1, ' ') + text + "\n";
}

std::string Describe(const FileFacts& file) {
    if (!file.exists) return ToUtf8(file.path) + " (missing)";
    return ToUtf8(file.path) + (file.version.empty() ? "" : " (" + ToUtf8(file.version) + ")");
}

std::string Describe(const FolderEntry& entry) {
    if (entry.isFolder) return "    " + ToUtf8(entry.path) + "\\\n";
    return "    " + ToUtf8(entry.path) + "  " + std::to_string(entry.size) + " bytes, " +
           Time(entry.modified) + (entry.isReadOnly ? ", read-only\n" : "\n");
}

std::string ToText(const std::string& title, const FolderFacts& folder) {
    std::string text = Line(title, ToUtf8(folder.path) + (folder.exists ? "" : " (missing)"));
    if (folder.exists && folder.entries.empty()) text += "    (empty)\n";
    for (const FolderEntry& entry : folder.entries) text += Describe(entry);
    return text;
}

std::string ToText(const PackageFacts& package) {
    std::string text = "Package " + package.name + "\n";
    if (!package.installedInf.path.empty())
        text += Line("    installed", Describe(package.installedInf));
    text += Line("    staged", Describe(package.stagedInf));
    if (package.publishedInfs.empty()) text += Line("    published", "no");
    for (const FileFacts& inf : package.publishedInfs) text += Line("    published", Describe(inf));
    return text;
}

}  // namespace

std::string ToText(const Diagnosis& diagnosis) {
    std::string text =
        Line("Windows", Version(diagnosis.windows) + (diagnosis.is64Bit ? ", 64-bit" : ", 32-bit"));
    text += Line("Administrator", diagnosis.isElevated ? "yes" : "no");
    text += Line("Library", Describe(diagnosis.library));
    text += Line("Installer tool", Describe(diagnosis.installerTool));
    text += Line("Device service", diagnosis.deviceService);
    for (const FolderFacts& folder : diagnosis.storeFolders) text += ToText("Driver store", folder);
    text += ToText("Staging folder", diagnosis.stagingFolder);
    for (const PackageFacts& package : diagnosis.packages) text += ToText(package);
    return text;
}

nlohmann::ordered_json ToJson(const Diagnosis& diagnosis) {
    Json json{
        {"command", "diagnose"},
        {"windows", {{"version", Version(diagnosis.windows)}, {"is_64_bit", diagnosis.is64Bit}}},
        {"elevated", diagnosis.isElevated},
        {"library", ToJson(diagnosis.library)},
        {"installer_tool", ToJson(diagnosis.installerTool)},
        {"device_service",
         {{"name", ToUtf8(kDeviceServiceName)}, {"state", diagnosis.deviceService}}},
        {"driver_store", Json::array()},
        {"staging_folder", ToJson(diagnosis.stagingFolder)},
        {"packages", Json::array()}};
    for (const FolderFacts& folder : diagnosis.storeFolders) {
        json["driver_store"].push_back(ToJson(folder));
    }
    for (const PackageFacts& package : diagnosis.packages) {
        json["packages"].push_back(ToJson(package));
    }
    return json;
}

}  // namespace ctl
