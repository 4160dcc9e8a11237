#pragma once

// 7-Zip's interfaces as our sources see them; include this and never 7-Zip's own headers.
//
// 7-Zip declares every method as throwing nothing, and a class that implements its interfaces
// cannot promise less. Our extraction callback does throw (see extract_exception_carrier.h), so the
// promise is taken out of the declarations. That changes no layout and no call: 7-Zip's own files
// are compiled with the promise in place, and no exception of ours ever gets to them.

#include <windows.h>
#include <ole2.h>

#include <7zip/IDecl.h>

#undef Z7_COM7F_E
#define Z7_COM7F_E

#include <7zip/Archive/IArchive.h>
#include <7zip/ICoder.h>
#include <7zip/IPassword.h>
#include <7zip/PropID.h>
