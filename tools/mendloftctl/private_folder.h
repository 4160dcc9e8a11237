#pragma once

#include <string>

namespace ctl {

// A new folder with a name that nobody can guess, which only administrators and the system may
// enter. It is made in the temporary folder of Windows and not in the user's: there, a program of
// the user could rename it and put another one in its place, whatever its access list says. The
// destructor removes it with all its content.
class PrivateFolder {
public:
    // Makes the folder, which needs administrator rights.
    PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    ~PrivateFolder() { Remove(); }

    // The full path, without a separator at its end. Empty when the folder could not be made, with
    // the reason in GetLastError() right after construction, and after it was removed.
    [[nodiscard]] const std::wstring& Path() const { return path_; }

    // Removes the folder with all its content. Tries again for about two seconds, because a file
    // may still be in use for a moment. Returns false when something is left.
    bool Remove();

private:
    std::wstring path_;
};

// The folder in which such folders are made, without a separator at its end.
[[nodiscard]] std::wstring PrivateFolderParent();

}  // namespace ctl
