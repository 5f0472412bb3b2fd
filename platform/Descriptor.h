#pragma once

#include <unistd.h>

// A file descriptor closed on every way out. close() says whether the close itself worked:
// it can report a write that failed late (NFS, a full disk).
class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return fd_; }
    bool close() {
        const int fd = fd_;
        fd_ = -1;
        return ::close(fd) == 0;
    }

  private:
    int fd_;
};
