// A lock for the hooks of replaced imports.
#pragma once

#include "base/win32_api.h"

namespace larkspine::testing {

// Holds an SRWLOCK for its lifetime. Not a std::mutex: that one may itself call CloseHandle, which
// is hooked.
class SrwLock {
  public:
    explicit SrwLock(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
    ~SrwLock() { ReleaseSRWLockExclusive(&lock_); }
    SrwLock(const SrwLock&) = delete;
    SrwLock& operator=(const SrwLock&) = delete;

  private:
    SRWLOCK& lock_;
};

}  // namespace larkspine::testing
