// A shared library that a test loads at run time, by its path.
#pragma once

namespace kx_test {

class shared_library {
public:
    // Throws std::runtime_error, with the system's reason, if the library cannot be loaded.
    explicit shared_library(const char* path);
    ~shared_library() { close(); }
    shared_library(const shared_library&) = delete;
    shared_library& operator=(const shared_library&) = delete;

    // Unloads the library ahead of time; whatever was found in it is then dead.
    void close();

    // The exported function of this name. Throws std::runtime_error if there is none.
    [[nodiscard]] void* address_of(const char* name) const;

    template <typename function>
    void find(const char* name, function*& entry_point) const
    {
        entry_point = reinterpret_cast<function*>(address_of(name));
    }

    // Whether this process has the library in memory.
    static bool is_loaded(const char* path);

private:
    void* handle_;
};

} // namespace kx_test
