// Memory between two pages that can be neither read nor written.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kx_test {

class guarded_buffer {
public:
    // At least `capacity` bytes, rounded up to whole pages and zero at first. Pages take memory only when
    // touched. Throws std::system_error when the address space is refused.
    explicit guarded_buffer(std::size_t capacity);
    ~guarded_buffer();
    guarded_buffer(const guarded_buffer&) = delete;
    guarded_buffer& operator=(const guarded_buffer&) = delete;

    [[nodiscard]] std::uint8_t* begin() const { return begin_; }       // right after the first unreadable page
    [[nodiscard]] std::uint8_t* end() const { return begin_ + size_; } // where the second one begins
    [[nodiscard]] std::size_t size() const { return size_; }

private:
    std::size_t page_size_;
    std::size_t size_;
    std::uint8_t* begin_;
};

} // namespace kx_test
