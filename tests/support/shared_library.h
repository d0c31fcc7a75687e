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

    // The same, for a pointer to functions of any type.
    struct found {
        template <typename function>
        operator function*() const // NOLINT(google-explicit-constructor)
        {
            return reinterpret_cast<function*>(address);
        }
        void* address;
    };
    [[nodiscard]] found find(const char* name) const { return {address_of(name)}; }

    // Whether this process has the library in memory.
    static bool is_loaded(const char* path);

private:
    void* handle_;
};

} // namespace kx_test
