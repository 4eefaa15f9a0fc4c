#include "base/borvik_crit_sec.h"

namespace borvik {

BorvikCritSec::~BorvikCritSec() {
    const std::lock_guard<std::recursive_mutex> lastOneOut(mutex_);
}

}  // namespace borvik
