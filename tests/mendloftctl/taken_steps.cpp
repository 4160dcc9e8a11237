#include "mendloftctl/taken_steps.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>

namespace {

// Which step near a call the call is compared with.
enum class Side {
    kNone,      // none: the call is a step by itself
    kNext,      // the first step after the call
    kPrevious,  // the last step before the call
    kEarlier,   // any step before the call
};

// How the object of a call relates to the object of that step.
enum class About {
    kAnything,
    kTheSame,
    kItsFolder,     // the folder that directly contains the step's object
    kItsBeginning,  // the first characters of the step's object
    kBelowIt,       // a file or folder anywhere below the step's folder
};

struct Rule {
    std::string_view call;
    Side side;
    const char* neighbour;  // the action of that step; null for Side::kNone
    About about;
    const char* action;  // of the step that the call becomes; null where it is part of `neighbour`
};

constexpr Rule Is(std::string_view call, const char* action) {
    return {call, Side::kNone, nullptr, About::kAnything, action};
}

constexpr Rule Before(const char* step, About about, std::string_view call) {
    return {call, Side::kNext, step, about, nullptr};
}

constexpr Rule After(const char* step, About about, std::string_view call) {
    return {call, Side::kPrevious, step, about, nullptr};
}

// The first rule that fits applies.
constexpr Rule kRules[] = {
    // Each process of that name is opened and ended.
    Before("end processes", About::kTheSame, "OpenProcess"),
    Is("TerminateProcess", "end processes"),

    Before("enable privileges", About::kAnything, "OpenProcessToken"),
    Before("enable privileges", About::kTheSame, "LookupPrivilegeValueW"),
    Is("AdjustTokenPrivileges (enable)", "enable privileges"),

    // The archive is written, then read. Each of its files is looked for, deleted if it exists, and
    // created in its folder, which exists by then. Its times and attributes are set last.
    Is("CreateFileW (create)", "write file"),
    After("write file", About::kTheSame, "WriteFile"),
    After("write file", About::kTheSame, "SHCreateStreamOnFileEx (read)"),
    Before("write file", About::kTheSame, "GetFileAttributesW"),
    Before("write file", About::kTheSame, "SHFileOperationW (delete)"),
    Before("write file", About::kItsFolder, "SHCreateDirectoryExW (there)"),
    Is("SHCreateStreamOnFileEx (create)", "write file"),
    After("write file", About::kTheSame, "CreateFileW (change)"),
    After("write file", About::kTheSame, "SetFileTime"),
    After("write file", About::kTheSame, "SetFileAttributesW"),

    Is("CreateDirectoryW", "create folder"),
    Is("SHCreateDirectoryExW", "create folder"),
    Is("SHCreateDirectoryExW (there)", "create folder"),
    Is("SetNamedSecurityInfoW (access)", "set access of"),

    // The folder to copy from is listed first. The network files' sources are its path and their
    // names without a backslash between them.
    Before("copy file", About::kItsBeginning, "FindFirstFileW (there)"),
    Is("CopyFileW", "copy file"),

    // A folder is listed, and removed after everything in it. For a missing folder, the attempt to
    // list it is the only call.
    Before("delete folder", About::kTheSame, "FindFirstFileW (there)"),
    Before("delete folder", About::kBelowIt, "FindFirstFileW (there)"),
    Before("delete folder", About::kBelowIt, "DeleteFileW"),
    Before("delete folder", About::kBelowIt, "RemoveDirectoryW"),
    Is("RemoveDirectoryW", "delete folder"),
    Is("FindFirstFileW (missing)", "delete folder"),

    // Some checks belong to other steps: whether a folder has to be created, can be copied from, or
    // has been deleted. An existing staging folder is not created again.
    Before("create folder", About::kTheSame, "PathFileExistsW (missing)"),
    {"PathFileExistsW (there)", Side::kNext, "write file", About::kItsFolder, "create folder"},
    Before("copy file", About::kItsBeginning, "PathFileExistsW (there)"),
    {"PathFileExistsW (missing)", Side::kEarlier, "delete folder", About::kTheSame, nullptr},
    {"PathFileExistsW (there)", Side::kEarlier, "delete folder", About::kTheSame, nullptr},
    Is("PathFileExistsW (there)", "look for"),
    Is("PathFileExistsW (missing)", "look for"),

    Before("run", About::kTheSame, "CreateProcessW"),
    Is("WaitForSingleObject (without limit)", "run"),

    Before("enumerate devices", About::kTheSame, "CM_Locate_DevNodeW"),
    Is("CM_Reenumerate_DevNode", "enumerate devices"),

    Before("connect to", About::kTheSame, "connect"),
    Is("closesocket", "connect to"),
};

// What a plan names differently from the recorded calls.
struct Wording {
    std::string_view action;
    std::wstring_view called;
    const wchar_t* planned;
};

constexpr Wording kWordings[] = {
    {"look for", L"", L"an INF file"},
    {"enumerate devices", L"(root)", L"the whole device tree"},
};

struct TakenStep {
    std::string action;
    std::wstring what;
    std::wstring to;
};

bool LiesBelow(const std::wstring& path, const std::wstring& folder) {
    return path.starts_with(folder + L'\\');
}

bool IsAbout(const std::wstring& call, About about, const std::wstring& step) {
    switch (about) {
        case About::kAnything:
            return true;
        case About::kTheSame:
            return call == step;
        case About::kItsFolder:
            return LiesBelow(step, call) && step.find(L'\\', call.size() + 1) == step.npos;
        case About::kItsBeginning:
            return step.starts_with(call);
        case About::kBelowIt:
            return LiesBelow(call, step);
    }
    return false;
}

// The step that a call is by itself.
std::optional<TakenStep> StepOf(const RecordedCall& call) {
    const auto* const rule = std::ranges::find_if(kRules, [&](const Rule& candidate) {
        return candidate.call == call.name && candidate.side == Side::kNone;
    });
    if (rule == std::end(kRules)) return std::nullopt;
    return TakenStep{rule->action, call.what, call.to};
}

// Goes through the calls from the last to the first, because most calls lead up to a step.
class Translation {
public:
    explicit Translation(const std::vector<RecordedCall>& calls) : calls_(calls) {}

    std::vector<TakenStep> Steps() {
        for (std::size_t index = calls_.size(); index-- > 0;) Add(index);
        std::ranges::reverse(steps_);
        return std::move(steps_);
    }

private:
    void Add(std::size_t index) {
        const RecordedCall& call = calls_[index];
        const auto* const rule = std::ranges::find_if(
            kRules, [&](const Rule& candidate) { return Fits(candidate, index); });
        if (rule == std::end(kRules)) {
            steps_.push_back({call.name, call.what, call.to});
        } else if (rule->action != nullptr) {
            steps_.push_back({rule->action, call.what, call.to});
        }
    }

    [[nodiscard]] bool Fits(const Rule& rule, std::size_t index) const {
        if (rule.call != calls_[index].name) return false;
        const auto isBeside = [&](const TakenStep& step) {
            return step.action == rule.neighbour &&
                   IsAbout(calls_[index].what, rule.about, step.what);
        };
        switch (rule.side) {
            case Side::kNone:
                return true;
            case Side::kNext:
                return !steps_.empty() && isBeside(steps_.back());
            case Side::kPrevious: {
                const std::vector<TakenStep> earlier = StepsBefore(index);
                return !earlier.empty() && isBeside(earlier.back());
            }
            case Side::kEarlier:
                return std::ranges::any_of(StepsBefore(index), isBeside);
        }
        return false;
    }

    [[nodiscard]] std::vector<TakenStep> StepsBefore(std::size_t index) const {
        std::vector<TakenStep> steps;
        for (const RecordedCall& call : std::span(calls_).first(index)) {
            if (const std::optional<TakenStep> step = StepOf(call)) steps.push_back(*step);
        }
        return steps;
    }

    const std::vector<RecordedCall>& calls_;
    std::vector<TakenStep> steps_;
};

// A plan names a program once, however many processes of it are ended, and lists all privileges in
// one step.
void Join(std::vector<TakenStep>& steps) {
    for (auto step = steps.begin(); step != steps.end() && step + 1 != steps.end();) {
        const TakenStep& next = *(step + 1);
        const bool endsTheSame = step->action == "end processes" && next.action == step->action &&
                                 next.what == step->what;
        const bool enablesMore = step->action == "enable privileges" && next.action == step->action;
        if (enablesMore) step->what += L", " + next.what;
        if (endsTheSame || enablesMore) {
            steps.erase(step + 1);
        } else {
            ++step;
        }
    }
}

std::wstring Line(const TakenStep& step) {
    std::wstring what = step.what;
    for (const Wording& wording : kWordings) {
        if (wording.action == step.action && wording.called == what) what = wording.planned;
    }
    return std::wstring(step.action.begin(), step.action.end()) + L"|" + what +
           (step.to.empty() ? L"" : L"|" + step.to);
}

}  // namespace

std::vector<std::wstring> StepsTaken(const std::vector<RecordedCall>& calls) {
    std::vector<TakenStep> steps = Translation(calls).Steps();
    Join(steps);
    std::vector<std::wstring> lines;
    std::ranges::transform(steps, std::back_inserter(lines), Line);
    return lines;
}
