#include "scopedhandle.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace ridge::test {
namespace {

HANDLE makeEvent() {
    return CreateEventA(nullptr, TRUE, FALSE, nullptr);
}

bool isOpen(HANDLE handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

TEST(ScopedHandle, BothValuesForNoHandle_AreNone) {
    EXPECT_FALSE(ScopedHandle().valid());
    EXPECT_FALSE(ScopedHandle(INVALID_HANDLE_VALUE).valid());
    EXPECT_FALSE(ScopedHandle(nullptr).valid());
}

TEST(ScopedHandle, NullHandle_IsNotClosed) {
    SetLastError(ERROR_SUCCESS);
    { const ScopedHandle none(nullptr); }
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
}

TEST(ScopedHandle, Handle_IsClosedAtTheEnd) {
    const HANDLE event = makeEvent();
    {
        const ScopedHandle owner(event);
        EXPECT_TRUE(owner.valid());
        EXPECT_EQ(owner.get(), event);
        EXPECT_TRUE(isOpen(event));
    }
    EXPECT_FALSE(isOpen(event));
}

TEST(ScopedHandle, Reset_ClosesTheHandleBefore) {
    const HANDLE first = makeEvent();
    const HANDLE second = makeEvent();
    ScopedHandle owner(first);
    owner.reset(second);
    EXPECT_FALSE(isOpen(first));
    EXPECT_TRUE(isOpen(second));
    EXPECT_EQ(owner.get(), second);
    owner.reset();
    EXPECT_FALSE(isOpen(second));
    EXPECT_FALSE(owner.valid());
}

} // namespace
} // namespace ridge::test
