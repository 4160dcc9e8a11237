#include "mendloftctl/encoding.h"

namespace ctl {

std::wstring ToWide(std::string_view bytes, UINT codePage) {
    const int length = static_cast<int>(bytes.size());
    const int size = ::MultiByteToWideChar(codePage, 0, bytes.data(), length, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    ::MultiByteToWideChar(codePage, 0, bytes.data(), length, text.data(), size);
    return text;
}

std::wstring FromUtf8(std::string_view bytes) {
    return ToWide(bytes, CP_UTF8);
}

std::wstring FromAnsi(std::string_view bytes) {
    return ToWide(bytes, CP_ACP);
}

}  // namespace ctl
