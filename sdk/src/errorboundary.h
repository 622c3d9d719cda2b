#pragma once

#include "argumentchecks.h"
#include "ridgeexception.h"

#include <algorithm>
#include <cstring>
#include <exception>

namespace ridge {

/// Puts a failure into the context. Without memory for its text, that is the failure instead:
/// status 4, and as much of its text as fits.
inline std::int32_t report(ridgeDeviceContext& context, std::int32_t code,
                           const char* text) noexcept {
    try {
        return fail(context, code, text);
    } catch (const std::exception& failure) {
        context.lastError.clear();
        context.lastError.append(
            failure.what(), std::min(std::strlen(failure.what()), context.lastError.capacity()));
        return RIDGE_UNEXPECTED_FAILURE;
    }
}

/// Runs what an exported function does; whatever it throws becomes a status code and the context's
/// last-error text. No exception leaves it.
template <typename Work>
std::int32_t withinBoundary(ridgeDeviceContext& context, const Work& work) noexcept {
    try {
        return work();
    } catch (const RidgeException& failure) {
        return report(context, failure.code(), failure.what());
    } catch (const std::exception& failure) {
        return report(context, RIDGE_UNEXPECTED_FAILURE, failure.what());
    } catch (...) {
        return report(context, RIDGE_UNEXPECTED_FAILURE, "Unknown error");
    }
}

} // namespace ridge
