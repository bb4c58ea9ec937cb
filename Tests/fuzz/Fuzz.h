/** @file
 * What the fuzz targets share: bytes taken apart, and a set for them to work on.
 *
 * A target is a function LLVMFuzzerTestOneInput(). In the preset `fuzz` libFuzzer calls it; everywhere else FixedCases.cpp
 * does, with the corpus and a fixed number of variations of it.
 */
#pragma once

#include <Set.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/** Bytes of an input, taken from its front; beyond its end they are 0. */
class Bytes {
 public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool IsEmpty() const { return size_ == 0; }
    std::uint8_t Byte();
    /** 32 bits, little-endian. */
    int Word();
    /** A length in one byte, then so many bytes at most. */
    std::string Text();
    /** All that is left. */
    std::string Rest();

 private:
    std::string Take(std::size_t count);

    const std::uint8_t* data_;
    std::size_t size_;
};

/** The set this process is on, made in memory at the first call and removed at the end: with the TV that the environment
 * variable FUZZ_TV names, or tv14. Nothing is traced; local commands and the log end at once, and nothing of the log is
 * kept. */
vbset::Set& TheSet();

/** Puts a file where the set has a path. */
void WriteFile(const std::string& path, const std::string& bytes);

/** A promise of the code at hand: ends the process with a message when it is not kept. */
void Require(bool kept, const char* promise);

}  // namespace fuzz
