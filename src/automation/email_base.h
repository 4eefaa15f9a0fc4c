#pragma once

#include "foundation/base_object.h"

namespace tessolt {

/// The common base of the two objects that talk to servers.
class CZnEmailBase : public CZncBase {
public:
    using CZncBase::CZncBase;
};

}  // namespace tessolt
