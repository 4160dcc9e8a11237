// Prints the names of the compression methods that this program's 7-Zip has registered, one on each
// line. It links 7-Zip in the same way as the library.

#include <windows.h>
#include <oleauto.h>

#include <iostream>

#include <7zip/ICoder.h>

// Defined by 7-Zip, which declares them in no header.
STDAPI GetNumberOfMethods(UInt32* count);
STDAPI GetMethodProperty(UInt32 index, PROPID property, PROPVARIANT* value);

int main() {
    UInt32 count = 0;
    if (::GetNumberOfMethods(&count) != S_OK) return 1;
    for (UInt32 index = 0; index < count; ++index) {
        PROPVARIANT name{};
        if (::GetMethodProperty(index, NMethodPropID::kName, &name) != S_OK) return 1;
        if (name.vt != VT_BSTR) return 1;
        for (const wchar_t* letter = name.bstrVal; *letter != 0; ++letter) {
            std::cout << static_cast<char>(*letter);
        }
        std::cout << '\n';
        ::SysFreeString(name.bstrVal);
    }
}
