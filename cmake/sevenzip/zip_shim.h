// Included in front of 7-Zip's Zip reader. Its handler has a member of a type that an extract-only
// build leaves out; the reader itself uses of that type only what stands here.
#pragma once

#include "Common/Common.h"

#include "7zip/Archive/Common/HandlerOut.h"

namespace NArchive {

class CMultiMethodProps : public CCommonMethodProps {
public:
    void Init() { InitCommon(); }
};

}  // namespace NArchive
