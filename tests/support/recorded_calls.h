#pragma once

#include <windows.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

// One call of a Windows function.
struct RecordedCall {
    // The function. In parentheses after it: how it was called, or what came of it, where the same
    // function serves several ends.
    std::string name;
    std::wstring what;  // the path, program, privilege, device or address that the call concerns
    std::wstring to;    // of a copy or a move: the destination
};

// Records the calls with which a module changes the system or asks for files and folders, in the
// order in which they end and on any thread, for as long as this lives. Every call is passed on to
// Windows, but for two: a request to rescan devices always succeeds and does nothing.
//
// Only calls through the module's import table are seen.
class RecordedCalls {
public:
    explicit RecordedCalls(HMODULE module);
    RecordedCalls(const RecordedCalls&) = delete;
    RecordedCalls& operator=(const RecordedCalls&) = delete;
    ~RecordedCalls();

    [[nodiscard]] std::vector<RecordedCall> Calls() const;
    // The functions whose calls are recorded.
    [[nodiscard]] std::set<std::string> Functions() const;

private:
    struct Hooks;
    std::unique_ptr<Hooks> hooks_;
};
