// Steps that must all be taken, whatever they throw.
#pragma once

#include <exception>

namespace kx {

class teardown {
public:
    template <typename function>
    void step(const function& work) noexcept
    {
        try {
            work();
        } catch (...) {
            if (first_exception_ == nullptr) {
                first_exception_ = std::current_exception();
            }
        }
    }

    // Lets the first exception pass, if there was one.
    void finish() const
    {
        if (first_exception_ != nullptr) {
            std::rethrow_exception(first_exception_);
        }
    }

private:
    std::exception_ptr first_exception_;
};

} // namespace kx
