// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>
#include <utility>

/// Owns a file descriptor and closes it.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor)
        : number(descriptor)
    {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor &&other) noexcept
        : number(std::exchange(other.number, -1))
    {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        reset(std::exchange(other.number, -1));
        return *this;
    }

    int get() const { return number; }
    bool isValid() const { return number >= 0; }
    void reset(int descriptor = -1)
    {
        if (number >= 0)
            ::close(number);
        number = descriptor;
    }

private:
    int number = -1;
};
