#pragma once

// 7-Zip's interfaces for the library's own sources, which include this header in place of 7-Zip's.
//
// 7-Zip declares every method as not throwing, and an override must promise the same. The
// extraction callback throws (see extract_exception_carrier.h), so this header removes the promise
// from the declarations. That changes neither layouts nor calls. 7-Zip's own files are compiled
// with the promise, and no exception reaches them.

#include <windows.h>
#include <ole2.h>

#include <7zip/IDecl.h>

#undef Z7_COM7F_E
#define Z7_COM7F_E

#include <7zip/Archive/IArchive.h>
#include <7zip/ICoder.h>
#include <7zip/IPassword.h>
#include <7zip/PropID.h>
