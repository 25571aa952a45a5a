// Test buffers: arrays at any byte offset from a 64-byte boundary with canaries around
// them, and arrays that end (or start) at an inaccessible page.
#pragma once

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>

namespace kxtest {

// `count` elements starting `offsetBytes` past a 64-byte boundary, with 64 canary bytes
// on each side; canariesIntact() tells whether anything wrote outside the elements.
template <typename T>
class CanaryBuffer {
 public:
  static constexpr std::size_t kGuardBytes = 64;
  static constexpr unsigned char kCanary = 0xA5;

  CanaryBuffer(std::size_t count, std::size_t offsetBytes) : count_(count) {
    const std::size_t bytes = kGuardBytes + offsetBytes + count * sizeof(T) + kGuardBytes;
    totalBytes_ = (bytes + 63) / 64 * 64;
    storage_ = static_cast<unsigned char*>(::operator new (totalBytes_, std::align_val_t{64}));
    std::memset(storage_, kCanary, totalBytes_);
    begin_ = storage_ + kGuardBytes + offsetBytes;
  }
  ~CanaryBuffer() { ::operator delete (storage_, std::align_val_t{64}); }
  CanaryBuffer(const CanaryBuffer&) = delete;
  CanaryBuffer& operator=(const CanaryBuffer&) = delete;

  T* data() { return reinterpret_cast<T*>(begin_); }
  const T* data() const { return reinterpret_cast<const T*>(begin_); }
  std::size_t size() const { return count_; }
  std::span<T> span() { return {data(), count_}; }
  T& operator[](std::size_t i) { return data()[i]; }

  void fill(std::span<const T> values) {
    if (!values.empty()) std::memcpy(begin_, values.data(), values.size_bytes());
  }

  bool canariesIntact() const {
    const unsigned char* end = begin_ + count_ * sizeof(T);
    for (const unsigned char* p = storage_; p < begin_; ++p) {
      if (*p != kCanary) return false;
    }
    for (const unsigned char* p = end; p < storage_ + totalBytes_; ++p) {
      if (*p != kCanary) return false;
    }
    return true;
  }

 private:
  std::size_t count_;
  std::size_t totalBytes_ = 0;
  unsigned char* storage_ = nullptr;
  unsigned char* begin_ = nullptr;
};

// Whole pages of read-write memory, one of which can be made inaccessible.
#ifdef _WIN32
inline std::size_t pageSize() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwPageSize;
}
inline unsigned char* mapPages(std::size_t bytes) {
  void* pages = VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  if (pages == nullptr) throw std::bad_alloc();
  return static_cast<unsigned char*>(pages);
}
inline void protectPage(unsigned char* page) {
  DWORD previous;
  VirtualProtect(page, pageSize(), PAGE_NOACCESS, &previous);
}
inline void unmapPages(unsigned char* pages, std::size_t) {
  VirtualFree(pages, 0, MEM_RELEASE);
}
#else
inline std::size_t pageSize() {
  return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}
inline unsigned char* mapPages(std::size_t bytes) {
  void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) throw std::bad_alloc();
  return static_cast<unsigned char*>(pages);
}
inline void protectPage(unsigned char* page) {
  mprotect(page, pageSize(), PROT_NONE);
}
inline void unmapPages(unsigned char* pages, std::size_t bytes) {
  munmap(pages, bytes);
}
#endif

// `count` elements placed directly before an inaccessible page (Edge::End) or directly
// after one (Edge::Start): a kernel that reads past that edge faults.
template <typename T>
class GuardedBuffer {
 public:
  enum class Edge { Start, End };

  GuardedBuffer(std::size_t count, Edge edge) : count_(count) {
    const std::size_t page = pageSize();
    const std::size_t dataPages = (count * sizeof(T) + page - 1) / page;
    mappedBytes_ = (dataPages + 2) * page;
    mapping_ = mapPages(mappedBytes_);
    protectPage(mapping_);
    protectPage(mapping_ + mappedBytes_ - page);
    begin_ =
        edge == Edge::Start ? mapping_ + page : mapping_ + mappedBytes_ - page - count * sizeof(T);
  }
  ~GuardedBuffer() { unmapPages(mapping_, mappedBytes_); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;

  T* data() { return reinterpret_cast<T*>(begin_); }
  std::size_t size() const { return count_; }
  std::span<T> span() { return {data(), count_}; }
  void fill(std::span<const T> values) {
    if (!values.empty()) std::memcpy(begin_, values.data(), values.size_bytes());
  }

 private:
  std::size_t count_;
  std::size_t mappedBytes_ = 0;
  unsigned char* mapping_ = nullptr;
  unsigned char* begin_ = nullptr;
};

}  // namespace kxtest
