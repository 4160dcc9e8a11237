#pragma once

#include <string>

namespace ctl {

// A fresh folder with a name that nobody can guess, which only administrators and the system may
// enter. It lies in the temporary folder of Windows, where users cannot rename or remove what is
// not theirs, as they could in their own. Removed with all that is in it when this goes out of
// scope.
class PrivateFolder {
public:
    PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder() { Remove(); }

    // Without a separator at its end; empty, with the error of Windows as the last error after
    // construction, when it could not be made.
    [[nodiscard]] const std::wstring& Path() const { return path_; }

    // Tries for some seconds, as files may still be in use. Returns false when something is left.
    bool Remove();

private:
    std::wstring path_;
};

// Where such folders are made, without a separator at its end.
[[nodiscard]] std::wstring PrivateFolderParent();

}  // namespace ctl
