// The reference data files compiled into qvice by cmake/embed.cmake.
#pragma once

#include <cstddef>

namespace qvice {

struct EmbeddedFile {
    const char* path;  // relative to data/reference, '/' separated
    const unsigned char* data;
    std::size_t size;
};

extern const EmbeddedFile kEmbeddedReference[];
extern const std::size_t kEmbeddedReferenceCount;

}  // namespace qvice
