// Tests of support/heap_watch.h and support/kernel_handles.h.
#include "support/heap_watch.h"
#include "support/kernel_handles.h"
#include "support_test/misdeeds_dll.h"
#include "ztbus3.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>

namespace {

using support::HeapWatch;
using testing::HasSubstr;

class Heap : public testing::Test {
  protected:
    std::optional<Misdeeds> misdeeds{std::in_place};
    HeapWatch heap{misdeeds->module()};
};

TEST_F(Heap, FollowsEveryWayToAllocate) {
    void* const blocks[] = {misdeeds->allocate(10), misdeeds->allocate_zeroed(20),
                            misdeeds->reallocate(nullptr, 30), misdeeds->allocate_by_new(40)};
    EXPECT_EQ(heap.live_blocks(), 4);
    EXPECT_EQ(heap.allocations(), 4);
    EXPECT_THAT(heap.describe_live_blocks(), HasSubstr("20 bytes of allocation 2"));
    for (void* block : blocks) {
        misdeeds->release(block);
    }
    EXPECT_EQ(heap.live_blocks(), 0);
    EXPECT_EQ(heap.describe_live_blocks(), "");
}

TEST_F(Heap, CountsMovedBlockOnce) {
    void* block = misdeeds->allocate(10);
    block = misdeeds->reallocate(block, 100'000);
    EXPECT_EQ(heap.live_blocks(), 1);
    EXPECT_EQ(misdeeds->reallocate(block, 0), nullptr);
    EXPECT_EQ(heap.live_blocks(), 0);
}

TEST_F(Heap, IgnoresBlocksFromBeforeWatch) {
    void* const block = std::malloc(10);
    misdeeds->release(block);
    misdeeds->release(nullptr);
    EXPECT_EQ(heap.live_blocks(), 0);
    EXPECT_EQ(heap.double_frees(), 0);
}

TEST_F(Heap, ReportsDoubleFreeWithoutFreeing) {
    void* const block = misdeeds->allocate(10);
    misdeeds->release(block);
    misdeeds->release(block);
    EXPECT_EQ(heap.double_frees(), 1);
}

TEST_F(Heap, CountsNoBlocksOfRuntimeAfterUnload) {
    EXPECT_EQ(misdeeds->raise_and_catch(3), 3);
    misdeeds.reset();
    ASSERT_EQ(GetModuleHandleW(L"misdeeds.dll"), nullptr);
    EXPECT_EQ(heap.live_blocks(), 0) << heap.describe_live_blocks();
}

TEST_F(Heap, ReportsLeakAfterUnload) {
    void* const block = misdeeds->allocate(77);
    misdeeds.reset();
    EXPECT_EQ(heap.live_blocks(), 1);
    EXPECT_THAT(heap.describe_live_blocks(), HasSubstr("77 bytes"));
    std::free(block);
}

TEST_F(Heap, FailsOnlyNthAllocation) {
    heap.fail(2);
    void* const first = misdeeds->allocate(1);
    EXPECT_NE(first, nullptr);
    EXPECT_FALSE(heap.has_failed());
    EXPECT_EQ(misdeeds->allocate(1), nullptr);
    EXPECT_TRUE(heap.has_failed());
    void* const third = misdeeds->allocate(1);
    EXPECT_NE(third, nullptr);
    misdeeds->release(first);
    misdeeds->release(third);
}

TEST_F(Heap, FailsEveryWayToAllocate) {
    heap.fail(1, 6);
    EXPECT_EQ(misdeeds->allocate(1), nullptr);
    EXPECT_EQ(misdeeds->allocate_zeroed(1), nullptr);
    EXPECT_EQ(misdeeds->reallocate(nullptr, 1), nullptr);
    EXPECT_EQ(misdeeds->allocate_pages(1), nullptr);
    EXPECT_EQ(misdeeds->allocate_from_bus(1), nullptr);
    heap.fail_no_more();
    void* const block = misdeeds->allocate_from_bus(1);
    EXPECT_NE(block, nullptr);
    EXPECT_FALSE(heap.has_failed());
    _ZtFree(block);
    EXPECT_EQ(heap.live_blocks(), 0);
}

TEST_F(Heap, MakesNewThrow) {
    heap.fail(1);
    EXPECT_EQ(misdeeds->allocate_by_new(1), nullptr);
}

TEST_F(Heap, KeepsBlockWhenMoveFails) {
    void* const block = misdeeds->allocate(1);
    heap.fail(1);
    EXPECT_EQ(misdeeds->reallocate(block, 100), nullptr);
    EXPECT_EQ(heap.live_blocks(), 1);
    misdeeds->release(block);
    EXPECT_EQ(heap.double_frees(), 0);
}

TEST(KernelHandles, FindsAndDescribesNewHandle) {
    const Misdeeds misdeeds;
    CloseHandle(misdeeds.make_event());  // what the system keeps after its first use must not count
    const auto before = support::kernel_handles();
    EXPECT_FALSE(before.empty());
    EXPECT_TRUE(support::new_kernel_handles(before).empty());

    const HANDLE event = misdeeds.make_event();
    const auto added = support::new_kernel_handles(before);
    ASSERT_EQ(added.size(), 1u);
    EXPECT_EQ(added[0], reinterpret_cast<unsigned long long>(event));
    EXPECT_THAT(support::describe_handle(added[0]), HasSubstr("Event"));
    EXPECT_THAT(support::describe_handle(added[0]), HasSubstr("misdeed"));

    CloseHandle(event);
    EXPECT_TRUE(support::new_kernel_handles(before).empty());
}

}  // namespace
