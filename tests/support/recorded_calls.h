#pragma once

#include <windows.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

// One call to a Windows function.
struct RecordedCall {
    // The function. For a function with several uses, how it was called or what it found follows in
    // parentheses.
    std::string name;
    std::wstring what;  // the path, program, privilege, device or address that the call concerns
    std::wstring to;    // of a copy or a move: the destination
};

// Records the calls with which a module changes the system or looks for files and folders, for as
// long as this object exists. The calls of all threads are recorded, in the order in which they
// return. Every call is passed on to Windows, except the two of a request to rescan devices: these
// always succeed and do nothing.
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
