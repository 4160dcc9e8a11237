#include "mendloftctl/taken_steps.h"

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>

namespace {

// The step beside a call that the call is compared with.
enum class Side {
    kNone,      // the call is a step wherever it stands
    kNext,      // the first step after the call
    kPrevious,  // the last step before the call
    kEarlier,   // any step before the call
};

// What a call is about, seen from the step beside it.
enum class About {
    kAnything,
    kTheSame,
    kItsFolder,     // the folder that directly holds what the step is about
    kItsBeginning,  // the first characters of what the step is about
    kBelowIt,       // a file or folder somewhere below the folder that the step is about
};

struct Rule {
    std::string_view call;
    Side side;
    const char* neighbour;  // the action of the step beside the call; null without one
    About about;
    const char* action;  // of the step that the call is; null where it belongs to its neighbour
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

// The first rule that fits decides.
constexpr Rule kRules[] = {
    // Each program of the name is opened and ended.
    Before("end processes", About::kTheSame, "OpenProcess"),
    Is("TerminateProcess", "end processes"),

    Before("enable privileges", About::kAnything, "OpenProcessToken"),
    Before("enable privileges", About::kTheSame, "LookupPrivilegeValueW"),
    Is("AdjustTokenPrivileges (enable)", "enable privileges"),

    // The archive is written, then read; each of its files is looked for, deleted where it is there
    // already, created in its folder, which is there by then, and stamped.
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

    // A folder is listed, then goes after everything in it; one that is not there is only listed.
    Before("delete folder", About::kTheSame, "FindFirstFileW (there)"),
    Before("delete folder", About::kBelowIt, "FindFirstFileW (there)"),
    Before("delete folder", About::kBelowIt, "DeleteFileW"),
    Before("delete folder", About::kBelowIt, "RemoveDirectoryW"),
    Is("RemoveDirectoryW", "delete folder"),
    Is("FindFirstFileW (missing)", "delete folder"),

    // Some questions belong to other steps: whether a folder has to be created, is there to copy
    // from, or is gone. The staging folder is not created where it is there already.
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

// What plans call something other than the calls do.
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

// The step that a call is wherever it stands.
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

// Plans name processes once, however many there are, and privileges in one step.
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
