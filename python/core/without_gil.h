// Work beside Python's own.
#pragma once

#include <pybind11/pybind11.h>

#include <atomic>
#include <exception>

namespace kx::python {

namespace py = pybind11;

// Python lets threads that are daemons run on while the process exits, but exit unloads what transforms use. Waits
// until no thread works without the GIL; register it once.
class running_work {
public:
    running_work() { ++count; }
    running_work(const running_work&) = delete;
    running_work& operator=(const running_work&) = delete;
    ~running_work()
    {
        --count;
        count.notify_all();
    }

    static void wait_at_exit();

private:
    static inline std::atomic<int> count{0};
};

// Runs work() without the GIL, and throws what it throws with the GIL.
template <typename Work>
void without_gil(const Work& work)
{
    std::exception_ptr thrown;
    PyThreadState* const state = PyEval_SaveThread();
    try {
        const running_work running;
        work();
    } catch (...) {
        thrown = std::current_exception();
    }
    // Not in a destructor: where the interpreter is gone, this ends the thread by unwinding it.
    PyEval_RestoreThread(state);
    if (thrown) {
        std::rethrow_exception(thrown);
    }
}

} // namespace kx::python
