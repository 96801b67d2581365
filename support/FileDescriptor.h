// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SUPPORT_FILE_DESCRIPTOR_H
#define SUPPORT_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace support {

// Owns a file descriptor, or none (-1).
class FileDescriptor {
 public:
    explicit FileDescriptor(int fd = -1) : m_fd(fd) {}
    FileDescriptor(FileDescriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    void reset() {
        if (m_fd >= 0) {
            close(std::exchange(m_fd, -1));
        }
    }

 private:
    int m_fd;
};

}  // namespace support

#endif
