#pragma once

#include <string_view>
#include <utility>

#include "automation/guarded.h"
#include "automation/results.h"
#include "foundation/error_catalogue.h"

namespace tessolt {

/// The number that tells the outcome of an object's last operation. What the object does through
/// these forms of the free functions leaves `kErrorUnmapped` there when memory ended, so that a
/// caller who reads only the number doesn't take the operation for done.
class LastErrorHolder {
protected:
    HRESULT noted(HRESULT status) {
        if (status == E_OUTOFMEMORY) {
            m_nLastError = kErrorUnmapped;
        }
        return status;
    }

    template <class Body>
    HRESULT guarded(Body&& body) {
        return noted(tessolt::guarded(std::forward<Body>(body)));
    }
    template <class Place, class Body>
    HRESULT giving(Place* place, Body&& body) {
        return place ? guarded(std::forward<Body>(body)) : E_POINTER;
    }
    HRESULT giveText(std::u16string_view text, BSTR* place) {
        return noted(tessolt::giveText(text, place));
    }

    LONG m_nLastError = 0;
};

}  // namespace tessolt
