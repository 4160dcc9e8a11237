// Included before 7-Zip's Zip reader. The handler there has a member of a type that an extract-only
// build leaves out. This declares as much of the type as the reader uses.
#pragma once

#include "Common/Common.h"

#include "7zip/Archive/Common/HandlerOut.h"

namespace NArchive {

class CMultiMethodProps : public CCommonMethodProps {
public:
    void Init() { InitCommon(); }
};

}  // namespace NArchive
