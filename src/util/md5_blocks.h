#ifndef UTIL_MD5_BLOCKS_H_
#define UTIL_MD5_BLOCKS_H_

#include <cstddef>
#include <cstdint>

namespace kiv {

// Feeds `count` blocks of 64 bytes into an MD5 state, straight from the input.
void Md5Blocks(std::uint32_t state[4], const unsigned char* blocks,
               std::size_t count);

}  // namespace kiv

#endif  // UTIL_MD5_BLOCKS_H_
