// SMM_MemoryPool.cpp - fixed-size slot pools and the per-thread pools of SMM_PooledObject.
#include <algorithm>
#include <vector>

#include "smmpool.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SMM_WITH_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define SMM_WITH_ASAN 1
#endif

#ifdef SMM_WITH_ASAN
#include <sanitizer/asan_interface.h>
#define SMM_POISON(p, n) ASAN_POISON_MEMORY_REGION((p), (n))
#define SMM_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION((p), (n))
#else
#define SMM_POISON(p, n) ((void)(p), (void)(n))
#define SMM_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace {

std::size_t RoundUp(std::size_t n, std::size_t to) { return (n + to - 1) / to * to; }

constexpr std::size_t kChunkBytes = 16 * 1024;
constexpr std::size_t kMinSlotsPerChunk = 8;

}  // namespace

SMM_MemoryPool::SMM_MemoryPool(std::size_t objectSize, std::size_t alignment,
                               std::size_t slotsPerChunk) {
  if (alignment < alignof(void*) || (alignment & (alignment - 1)) != 0)
    alignment = alignof(std::max_align_t);
  m_alignment = alignment;
  m_slotSize = RoundUp(std::max(objectSize, sizeof(void*)), alignment);
  m_headerSize = RoundUp(sizeof(Chunk), alignment);
  m_slotsPerChunk =
      slotsPerChunk ? slotsPerChunk : std::max(kMinSlotsPerChunk, kChunkBytes / m_slotSize);
}

SMM_MemoryPool::~SMM_MemoryPool() {
  // Chunks with slots still in use stay allocated (see the class comment).
  Sweep();
}

int SMM_MemoryPool::Release() noexcept {
  Sweep();
  return m_chunks == nullptr;
}

// Frees every chunk whose slots are all free and keeps the free slots of the others.
// Counting by chunk (rather than trusting the used count) keeps chunks whose slots
// are in use even when objects of other threads' pools were freed into this one.
void SMM_MemoryPool::Sweep() noexcept {
  std::vector<Chunk*> chunks;
  std::vector<std::size_t> freeSlots;
  try {
    chunks.reserve(m_chunkCount);
    freeSlots.assign(m_chunkCount, 0);
  } catch (...) {
    return;  // nothing is freed without the room to count
  }
  for (Chunk* c = m_chunks; c; c = c->next) chunks.push_back(c);
  std::sort(chunks.begin(), chunks.end());
  const std::size_t chunkBytes = m_headerSize + m_slotsPerChunk * m_slotSize;
  // The index of the chunk holding `slot`, or npos for a slot of another pool's chunk.
  auto chunkOf = [&](void* slot) -> std::size_t {
    auto at = std::upper_bound(chunks.begin(), chunks.end(), static_cast<Chunk*>(slot));
    if (at == chunks.begin()) return static_cast<std::size_t>(-1);
    const std::size_t k = static_cast<std::size_t>(at - chunks.begin()) - 1;
    return static_cast<char*>(slot) < reinterpret_cast<char*>(chunks[k]) + chunkBytes
               ? k
               : static_cast<std::size_t>(-1);
  };
  for (void* slot = m_free; slot;) {
    SMM_UNPOISON(slot, sizeof(void*));
    void* next = *static_cast<void**>(slot);
    SMM_POISON(slot, m_slotSize);
    const std::size_t k = chunkOf(slot);
    if (k != static_cast<std::size_t>(-1)) ++freeSlots[k];
    slot = next;
  }
  std::vector<bool> dropped(chunks.size(), false);
  for (std::size_t k = 0; k < chunks.size(); ++k) {
    // Only the chunk being carved (the newest, while m_bump is set) may be partly handed out.
    const bool newest = m_bump && chunks[k] == m_chunks;
    const std::size_t handedOut =
        newest ? static_cast<std::size_t>(m_bump - FirstSlot(chunks[k])) / m_slotSize
               : m_slotsPerChunk;
    dropped[k] = freeSlots[k] == handedOut;
  }
  // Relink the free slots that stay, then the chunks that stay (the newest first).
  void* kept = nullptr;
  for (void* slot = m_free; slot;) {
    SMM_UNPOISON(slot, sizeof(void*));
    void* next = *static_cast<void**>(slot);
    const std::size_t k = chunkOf(slot);
    if (k == static_cast<std::size_t>(-1) || !dropped[k]) {
      *static_cast<void**>(slot) = kept;
      kept = slot;
    }
    SMM_POISON(slot, m_slotSize);
    slot = next;
  }
  m_free = kept;
  Chunk* newest = m_chunks;
  m_chunks = nullptr;
  m_chunkCount = 0;
  for (std::size_t k = 0; k < chunks.size(); ++k) {
    if (dropped[k]) {
      FreeChunk(chunks[k]);
    } else if (chunks[k] != newest) {
      chunks[k]->next = m_chunks;
      m_chunks = chunks[k];
      ++m_chunkCount;
    }
  }
  const std::size_t newestAt = newest ? chunkOf(newest) : static_cast<std::size_t>(-1);
  if (newest && !dropped[newestAt]) {
    newest->next = m_chunks;
    m_chunks = newest;
    ++m_chunkCount;
  } else {
    m_bump = m_bumpEnd = nullptr;  // the next allocation starts a chunk
  }
}

void SMM_MemoryPool::NewChunk() {
  const std::size_t bytes = m_headerSize + m_slotsPerChunk * m_slotSize;
  void* block = ::operator new(bytes, std::align_val_t(m_alignment));
  Chunk* chunk = static_cast<Chunk*>(block);
  chunk->next = m_chunks;
  m_chunks = chunk;
  ++m_chunkCount;
  m_bump = FirstSlot(chunk);
  m_bumpEnd = m_bump + m_slotsPerChunk * m_slotSize;
  SMM_POISON(m_bump, m_slotsPerChunk * m_slotSize);
}

void SMM_MemoryPool::FreeChunk(Chunk* chunk) noexcept {
  const std::size_t bytes = m_headerSize + m_slotsPerChunk * m_slotSize;
  SMM_UNPOISON(chunk, bytes);
  ::operator delete(chunk, std::align_val_t(m_alignment));
}

void* SMM_MemoryPool::Allocate() {
  void* slot = m_free;
  if (slot) {
    SMM_UNPOISON(slot, m_slotSize);
    m_free = *static_cast<void**>(slot);
  } else {
    if (m_bump == m_bumpEnd) NewChunk();
    slot = m_bump;
    m_bump += m_slotSize;
    SMM_UNPOISON(slot, m_slotSize);
  }
  ++m_used;
  return slot;
}

void SMM_MemoryPool::Free(void* slot) noexcept {
  if (!slot) return;
  // Under ASan this write is what reports a slot freed twice: the slot is poisoned.
  *static_cast<void**>(slot) = m_free;
  SMM_POISON(slot, m_slotSize);
  m_free = slot;
  --m_used;
}

// ---------------------------------------------------------------------------------------

namespace {

constexpr std::size_t kSizeStep = 16;
constexpr std::size_t kClasses = SMM_PooledObject::kMaxPooledSize / kSizeStep;

// The pools of one thread. Trivially destructible, so that reaching it costs no
// initialisation check; the reaper below takes the pools down when the thread ends.
struct ThreadPools {
  SMM_MemoryPool* pools[kClasses];
  bool gone;  // the pools were taken down: later objects come from the global heap
};
thread_local ThreadPools t_pools;

struct ThreadPoolReaper {
  ~ThreadPoolReaper() {
    t_pools.gone = true;
    for (SMM_MemoryPool*& pool : t_pools.pools) {
      delete pool;
      pool = nullptr;
    }
  }
};
// Touched when a thread makes its first pool, which registers its destructor.
thread_local ThreadPoolReaper t_reaper;

SMM_MemoryPool* MakePool(std::size_t k) {
  (void)&t_reaper;  // odr-use: constructs the reaper of this thread
  SMM_MemoryPool* pool = new SMM_MemoryPool((k + 1) * kSizeStep);
  t_pools.pools[k] = pool;
  return pool;
}

inline SMM_MemoryPool* PoolFor(std::size_t size) {
  if (size > SMM_PooledObject::kMaxPooledSize) return nullptr;
  ThreadPools& tp = t_pools;
  if (tp.gone) return nullptr;
  const std::size_t k = size == 0 ? 0 : (size - 1) / kSizeStep;
  SMM_MemoryPool* pool = tp.pools[k];
  return pool ? pool : MakePool(k);
}

}  // namespace

SMM_MemoryPool* SMM_PooledObject::GetPool(std::size_t size) { return PoolFor(size); }

void* SMM_PooledObject::operator new(std::size_t size) {
  if (SMM_MemoryPool* pool = PoolFor(size)) return pool->Allocate();
  return ::operator new(size);
}

void SMM_PooledObject::operator delete(void* p, std::size_t size) noexcept {
  if (!p) return;
  if (size > kMaxPooledSize) {
    ::operator delete(p);
    return;
  }
  // Once the thread's pools are gone the slot cannot be told from a heap block: it stays.
  if (SMM_MemoryPool* pool = PoolFor(size)) pool->Free(p);
}

void* SMM_PooledObject::operator new(std::size_t size, std::align_val_t alignment) {
  return ::operator new(size, alignment);
}

void SMM_PooledObject::operator delete(void* p, std::size_t size,
                                       std::align_val_t alignment) noexcept {
  ::operator delete(p, alignment);
}
