// Address space for images larger than the machine's memory, of which a test touches a few pages only.
#pragma once

#include <cstddef>

namespace kx_test {

class sparse_memory {
public:
    explicit sparse_memory(std::size_t size);
    ~sparse_memory();
    sparse_memory(const sparse_memory&) = delete;
    sparse_memory& operator=(const sparse_memory&) = delete;

    // Null if the system would not reserve so much. Zero wherever it was not written.
    [[nodiscard]] void* data() const { return data_; }

    // Must be called for a range before it is touched. Returns whether the range can be touched.
    [[nodiscard]] bool commit(std::size_t offset, std::size_t size);

private:
    std::size_t size_;
    void* data_;
};

} // namespace kx_test
