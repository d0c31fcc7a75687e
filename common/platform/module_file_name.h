// A module's file name, made without allocating: modules are loaded even when memory has run out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>

namespace kx::platform {

class module_file_name {
public:
    module_file_name(const char* base_name, const char* suffix)
        : length_(std::snprintf(text_.data(), text_.size(), "%s%s", base_name, suffix))
    {
    }

    [[nodiscard]] bool fits() const { return length_ >= 0 && static_cast<std::size_t>(length_) < text_.size(); }
    [[nodiscard]] const char* get() const { return text_.data(); }

private:
    std::array<char, 128> text_{};
    int length_;
};

} // namespace kx::platform
