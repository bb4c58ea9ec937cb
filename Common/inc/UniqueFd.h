/** @file
 * An open file descriptor that closes itself.
 */
#pragma once

#include <unistd.h>

/** Owns a file descriptor. */
class UniqueFd {
 public:
    /** @param fd  what open() gave, a failure too */
    explicit UniqueFd(int fd) : mFd(fd) {}
    ~UniqueFd() { Close(); }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    /** @return whether there was a file to open, until it is closed */
    bool IsOpen() const { return mFd >= 0; }
    /** @return the descriptor, which stays owned */
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
