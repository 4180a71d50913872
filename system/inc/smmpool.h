// smmpool.h - SMM_MemoryPool, a pool of fixed-size slots for small objects, and
// SMM_PooledObject, a base whose objects are allocated from per-size pools.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "brixexport.h"

/// A pool of equal slots for small objects of one size, carved out of chunks.
///
/// Allocate takes the most recently freed slot, else the next untouched slot of the newest
/// chunk, else a new chunk; Free puts a slot back. Both are constant time and never return
/// memory to the system: chunks are released by Release and by the destructor, which both
/// free only the chunks that are entirely free. A pool that dies while slots are still in
/// use leaves their chunks allocated, so that objects still in use stay valid memory and
/// leaked objects show up in a leak checker.
///
/// Under AddressSanitizer every slot that is not handed out is poisoned: reading or writing
/// an object after it was freed, or freeing it twice, is reported as use-after-poison until
/// the slot is handed out again (the pool reuses the most recently freed slot first).
///
/// A pool is not locked: it belongs to one thread at a time.
class BRIX_API SMM_MemoryPool {
 public:
  /// A pool of slots that hold `objectSize` bytes aligned to `alignment` (a power of two;
  /// the size is rounded up to it, and to at least a pointer). `slotsPerChunk` 0 chooses
  /// chunks of about 16 KiB (at least 8 slots).
  explicit SMM_MemoryPool(std::size_t objectSize, std::size_t alignment = alignof(std::max_align_t),
                          std::size_t slotsPerChunk = 0);
  SMM_MemoryPool(const SMM_MemoryPool&) = delete;
  SMM_MemoryPool& operator=(const SMM_MemoryPool&) = delete;
  ~SMM_MemoryPool();

  /// A slot of GetSlotSize() bytes; throws std::bad_alloc when no chunk can be had.
  void* Allocate();
  /// Returns a slot of this pool; null is ignored.
  void Free(void* slot) noexcept;
  /// Frees every chunk none of whose slots is in use; returns 1 when no chunk is left.
  int Release() noexcept;

  std::size_t GetSlotSize() const noexcept { return m_slotSize; }
  std::size_t GetSlotsPerChunk() const noexcept { return m_slotsPerChunk; }
  /// Slots handed out and not yet freed.
  long GetUsedCount() const noexcept { return static_cast<long>(m_used); }
  long GetChunkCount() const noexcept { return static_cast<long>(m_chunkCount); }

 private:
  struct Chunk {
    Chunk* next;
  };
  char* FirstSlot(Chunk* chunk) const noexcept {
    return reinterpret_cast<char*>(chunk) + m_headerSize;
  }
  void NewChunk();
  void FreeChunk(Chunk* chunk) noexcept;
  void Sweep() noexcept;

  std::size_t m_slotSize;
  std::size_t m_alignment;
  std::size_t m_slotsPerChunk;
  std::size_t m_headerSize;   // the chunk header rounded up to the alignment
  Chunk* m_chunks = nullptr;  // newest first
  std::size_t m_chunkCount = 0;
  void* m_free = nullptr;  // freed slots, most recent first (link in the slot)
  char* m_bump = nullptr;  // next untouched slot of the newest chunk
  char* m_bumpEnd = nullptr;
  std::int64_t m_used = 0;
};

/// Base of small objects that come from pools instead of the global heap: each thread
/// keeps one SMM_MemoryPool per 16-byte size class up to 256 bytes; larger objects and
/// arrays use the global operator new.
///
/// Delete an object through its own type, or give the hierarchy a virtual destructor, so
/// that operator delete learns the size it was allocated with. An object may be deleted in
/// another thread than the one that created it: its slot then joins that thread's pool.
/// Objects created while a thread's pools are being taken down (at thread or process end)
/// come from the global heap and are not given back.
class BRIX_API SMM_PooledObject {
 public:
  static void* operator new(std::size_t size);
  static void operator delete(void* p, std::size_t size) noexcept;
  static void* operator new(std::size_t size, std::align_val_t alignment);
  static void operator delete(void* p, std::size_t size, std::align_val_t alignment) noexcept;

  /// The largest object size served from a pool.
  static constexpr std::size_t kMaxPooledSize = 256;
  /// The pool of this thread that serves objects of `size` bytes, or null for sizes above
  /// kMaxPooledSize (and while the thread's pools are being taken down).
  static SMM_MemoryPool* GetPool(std::size_t size);

 protected:
  SMM_PooledObject() noexcept = default;
  ~SMM_PooledObject() = default;
};
