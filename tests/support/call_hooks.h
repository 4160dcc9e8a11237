#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/fake_api.h"
#include "support/recorded_calls.h"

// The parts of RecordedCalls: a log, and hooks that write to it.

class CallLog {
public:
    void AddFunction(const char* name) { functions_.emplace(name); }
    void Note(const char* name, std::wstring what, std::wstring to = L"") {
        const std::lock_guard guard(mutex_);
        calls_.push_back({name, std::move(what), std::move(to)});
    }

    [[nodiscard]] std::vector<RecordedCall> Calls() const {
        const std::lock_guard guard(mutex_);
        return calls_;
    }
    [[nodiscard]] const std::set<std::string>& Functions() const { return functions_; }

private:
    mutable std::mutex mutex_;
    std::vector<RecordedCall> calls_;
    std::set<std::string> functions_;
};

// The names of what open handles, sockets or device numbers refer to.
template <typename Key>
class Names {
public:
    void Set(Key key, const std::wstring& name) {
        const std::lock_guard guard(mutex_);
        names_[key] = name;
    }
    // Empty for an unknown key.
    [[nodiscard]] std::wstring Of(Key key) const {
        const std::lock_guard guard(mutex_);
        const auto found = names_.find(key);
        return found == names_.end() ? std::wstring() : found->second;
    }
    // Returns the same name and forgets the key.
    [[nodiscard]] std::wstring Take(Key key) {
        const std::lock_guard guard(mutex_);
        const auto node = names_.extract(key);
        return node.empty() ? std::wstring() : node.mapped();
    }

private:
    mutable std::mutex mutex_;
    std::map<Key, std::wstring> names_;
};

// Calls Windows' function, then `note` with its result and its arguments. `note` does not change
// the last error that the calling module sees.
template <FunctionName Name, typename Function>
class Hook;

template <FunctionName Name, typename Result, typename... Arguments>
class Hook<Name, Result WINAPI(Arguments...)> {
public:
    using Noter = std::function<void(Result, Arguments...)>;

    Hook(CallLog& log, HMODULE module, Noter note)
        : note_(std::move(note)),
          fake_([this](Arguments... arguments) { return OnCall(arguments...); }, module) {
        log.AddFunction(Name.text);
    }

private:
    Result OnCall(Arguments... arguments) {
        const Result result = fake_.Real(arguments...);
        const DWORD error = ::GetLastError();
        note_(result, arguments...);
        ::SetLastError(error);
        return result;
    }

    Noter note_;
    FakeApi<Name, Result WINAPI(Arguments...)> fake_;
};

// Records only the first argument, which is a path.
template <FunctionName Name, typename Function>
class PathHook : public Hook<Name, Function> {
public:
    PathHook(CallLog& log, HMODULE module)
        : Hook<Name, Function>(log, module, [&log](auto, const wchar_t* path, auto...) {
              log.Note(Name.text, path);
          }) {}
};
