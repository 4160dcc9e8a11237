// Extracts an archive into a folder with SevenZipExtractor, to be measured from outside like
// 7-Zip's console program. Does nothing without arguments.
//
//   extract_once [ARCHIVE FOLDER]
#include <windows.h>
#include <shellapi.h>

#include "archive/seven_zip_extractor.h"
#include "platform/unique_handle.h"

int main() {
    int count = 0;
    const UniqueLocal<wchar_t*> arguments(::CommandLineToArgvW(::GetCommandLineW(), &count));
    if (count != 3) return 0;
    SevenZip::SevenZipExtractor extractor;
    (void)extractor.SetArchivePath(arguments.Get()[1]);
    return extractor.ExtractTo(arguments.Get()[2], nullptr);
}
