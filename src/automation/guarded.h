#pragma once

#include <tessolt/automation_types.h>

#include <new>
#include <utility>

namespace tessolt {

/// Runs the body of an operation that a caller outside the library reaches, and turns what it
/// throws into a result: no exception crosses an interface.
template <class Body>
HRESULT guarded(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

}  // namespace tessolt
