#pragma once

#include <windows.h>
#include <oaidl.h>

// The exception classes of Visual Studio, as far as a program sees them that catches the library's
// exceptions: their names, their layout and the order of their virtual functions.

class _com_error {  // NOLINT(bugprone-reserved-identifier)
public:
    _com_error(const _com_error& other) noexcept
        : result_(other.result_), information_(other.information_), message_(nullptr) {
        if (information_ != nullptr) (void)information_->AddRef();
    }
    _com_error& operator=(const _com_error&) = delete;
    virtual ~_com_error() noexcept {
        if (information_ != nullptr) (void)information_->Release();
        if (message_ != nullptr) (void)::LocalFree(message_);
    }

    [[nodiscard]] HRESULT Error() const noexcept { return result_; }
    [[nodiscard]] IErrorInfo* ErrorInfo() const noexcept { return information_; }
    // Windows' text for the HRESULT. The object frees it when it is destroyed.
    [[nodiscard]] const wchar_t* ErrorMessage() const noexcept {
        if (message_ == nullptr) {
            (void)::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                       FORMAT_MESSAGE_IGNORE_INSERTS,
                                   nullptr, static_cast<DWORD>(result_), 0,
                                   reinterpret_cast<wchar_t*>(&message_), 0, nullptr);
        }
        return message_;
    }

private:
    const HRESULT result_;
    IErrorInfo* information_;
    mutable wchar_t* message_;
};

namespace std {

class exception {
public:
    exception() = delete;  // nothing here throws one
    virtual ~exception() noexcept;
    [[nodiscard]] virtual const char* what() const;

private:
    const char* text_;
    bool ownsText_;
};

class bad_alloc : public exception {};
class logic_error : public exception {};
class out_of_range : public logic_error {};

}  // namespace std
