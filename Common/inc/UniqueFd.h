/** @file
 * An open file descriptor that closes itself.
 */
#pragma once

#include <unistd.h>

class UniqueFd {
 public:
    explicit UniqueFd(int fd) : mFd(fd) {}
    ~UniqueFd() { Close(); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    bool IsOpen() const { return mFd >= 0; }
    int Get() const { return mFd; }

    /** Closes now instead of at the end of the scope. */
    void Close()
    {
        if (mFd >= 0) {
            close(mFd);
        }
        mFd = -1;
    }

 private:
    int mFd;
};
