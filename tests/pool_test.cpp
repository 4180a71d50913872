// pool_test.cpp - SMM_MemoryPool and SMM_PooledObject: slots, chunks, release, pools that
// die with slots in use, per-thread pools and (under ASan) freed slots that stay poisoned.
#include "smmpool.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define POOL_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define POOL_TEST_ASAN 1
#endif
#endif
#ifdef POOL_TEST_ASAN
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// Runs `body` in a child process and returns its exit status (the child ends with _exit, so
// no leak check runs unless the body asks for one): chunks kept on purpose stay out of the
// leak report of this program.
int InChild(const std::function<int()>& body) {
  const pid_t pid = fork();
  if (pid == 0) _exit(body());
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(PoolTest, SlotsAreSizedAlignedAndReused) {
  struct Case {
    std::size_t objectSize, alignment, slotSize, slotAlignment;
  } cases[] = {{1, 8, 8, 8},   {8, 8, 8, 8},     {9, 8, 16, 8},    {24, 16, 32, 16},
               {24, 8, 24, 8}, {33, 64, 64, 64}, {40, 3, 48, 16}};  // 3: the default alignment
  for (const Case& c : cases) {
    SMM_MemoryPool pool(c.objectSize, c.alignment, 4);
    EXPECT_EQ(pool.GetSlotSize(), c.slotSize) << c.objectSize << "/" << c.alignment;
    std::vector<void*> slots;
    for (int i = 0; i < 9; ++i) {
      slots.push_back(pool.Allocate());
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(slots[i]) % c.slotAlignment, 0u);
      std::memset(slots[i], 0xab, c.objectSize);  // the whole object is writable (ASan)
    }
    EXPECT_EQ(std::set<void*>(slots.begin(), slots.end()).size(), 9u);
    EXPECT_EQ(pool.GetChunkCount() * 100 + pool.GetUsedCount(), 309);
    pool.Free(slots[3]), pool.Free(slots[7]), pool.Free(nullptr);
    EXPECT_EQ(pool.Allocate(), slots[7]);  // the most recently freed slot first
    EXPECT_EQ(pool.Allocate(), slots[3]);
    for (void* p : slots) pool.Free(p);
    EXPECT_EQ(pool.GetUsedCount(), 0);
  }
}

TEST(PoolTest, ReleaseFreesOnlyChunksWithoutSlotsInUse) {
  SMM_MemoryPool pool(32, 16, 4);
  std::vector<void*> slots;
  for (int i = 0; i < 12; ++i) slots.push_back(pool.Allocate());  // 3 full chunks
  for (int i = 1; i < 12; ++i) pool.Free(slots[i]);  // keep one slot of the first chunk
  EXPECT_EQ(pool.Release(), 0);
  EXPECT_EQ(pool.GetChunkCount(), 1);
  // The kept chunk's free slots are handed out before any new chunk is made.
  std::set<void*> again;
  for (int i = 0; i < 3; ++i) again.insert(pool.Allocate());
  EXPECT_EQ(pool.GetChunkCount(), 1);
  EXPECT_EQ(again, (std::set<void*>{slots[1], slots[2], slots[3]}));
  for (void* p : again) pool.Free(p);
  pool.Free(slots[0]);
  EXPECT_EQ(pool.Release() * 10 + pool.GetChunkCount(), 10);
  pool.Free(pool.Allocate());  // a released pool starts over
  EXPECT_EQ(pool.GetChunkCount(), 1);
}

TEST(PoolTest, APoolThatDiesKeepsSlotsInUseValid) {
  EXPECT_EQ(InChild([] {
              auto* pool = new SMM_MemoryPool(64, 16, 4);
              void* live = pool->Allocate();
              for (int i = 0; i < 8; ++i) pool->Free(pool->Allocate());
              delete pool;
              std::memset(live, 9, 64);  // the chunk holding `live` stays
              return static_cast<unsigned char*>(live)[63] == 9 ? 0 : 1;
            }),
            0);
  // A slot of one pool freed into another (an object deleted by another thread): neither
  // pool frees memory that the other still hands out.
  EXPECT_EQ(InChild([] {
              auto* a = new SMM_MemoryPool(32, 16, 4);
              auto* b = new SMM_MemoryPool(32, 16, 4);
              void* fromA = a->Allocate();
              void* fromB = b->Allocate();
              b->Free(fromA);
              delete a;  // its chunk has a slot it never got back: kept
              b->Release();  // b must not count fromA as one of its own
              void* again = b->Allocate();
              std::memset(again, 3, 32);
              b->Free(again), b->Free(fromB);
              delete b;
              return again == fromA ? 0 : 1;
            }),
            0);
}

struct Small : SMM_PooledObject {
  long values[3] = {1, 2, 3};
};
struct Base : SMM_PooledObject {
  virtual ~Base() = default;
};
struct Derived : Base {
  char payload[100] = {};
};
struct alignas(64) Wide : SMM_PooledObject {
  char payload[8];
};

TEST(PoolTest, PooledObjectsUsePerSizeAndPerThreadPools) {
  EXPECT_TRUE(SMM_PooledObject::GetPool(17) == SMM_PooledObject::GetPool(32) &&
              SMM_PooledObject::GetPool(16) != SMM_PooledObject::GetPool(17) &&
              SMM_PooledObject::GetPool(257) == nullptr);
  SMM_MemoryPool* smallPool = SMM_PooledObject::GetPool(sizeof(Small));
  SMM_MemoryPool* derivedPool = SMM_PooledObject::GetPool(sizeof(Derived));
  const long before = smallPool->GetUsedCount() + derivedPool->GetUsedCount();
  auto* s = new Small;
  Base* d = new Derived;  // deleted through the base: the virtual destructor gives the size
  EXPECT_EQ(smallPool->GetUsedCount() + derivedPool->GetUsedCount(), before + 2);
  delete s, delete d;
  EXPECT_EQ(smallPool->GetUsedCount() + derivedPool->GetUsedCount(), before);
  auto* wide = new Wide;  // over-aligned: from the global heap, aligned
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide) % 64, 0u);
  delete wide;

  // An object made in a finished thread joins this thread's pool when it dies here.
  EXPECT_EQ(InChild([] {
              SMM_MemoryPool* here = SMM_PooledObject::GetPool(sizeof(Small));
              SMM_MemoryPool* there = nullptr;
              Small* madeThere = nullptr;
              std::thread([&] {
                there = SMM_PooledObject::GetPool(sizeof(Small));
                madeThere = new Small;
              }).join();
              if (there == here || madeThere->values[2] != 3) return 1;
              const long before = here->GetUsedCount();
              delete madeThere;
              if (here->GetUsedCount() != before - 1) return 2;
              Small* reused = new Small;
              const bool same = static_cast<void*>(reused) == static_cast<void*>(madeThere);
              delete reused;
              return same ? 0 : 3;
            }),
            0);
}

#ifdef POOL_TEST_ASAN
// Freed slots are poisoned: AddressSanitizer reports reads after delete and double deletes.
// The uses after delete below are the point of the test.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuse-after-free"
// Out of line, so no copy of the pointer stays in the caller's frame.
__attribute__((noinline)) void LeakOneSlot() {
  auto* pool = new SMM_MemoryPool(32);
  std::memset(pool->Allocate(), 0, 32);
  delete pool;
}

TEST(PoolDeathTest, FreedSlotsStayPoisonedAndLeaksAreFound) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        SMM_MemoryPool pool(48);
        void* p = pool.Allocate();
        pool.Free(p);
        static_cast<char*>(p)[40] = 1;  // past the free-list link, inside the slot
      },
      "use-after-poison");
  // A pooled object nobody frees is still found by the leak checker once its pool is gone.
  EXPECT_EQ(InChild([] {
              LeakOneSlot();
              return __lsan_do_recoverable_leak_check() ? 0 : 1;
            }),
            0);
}
#pragma GCC diagnostic pop
#endif

}  // namespace
