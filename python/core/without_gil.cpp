#include "without_gil.h"

#include <pthread.h>

namespace kx::python {

void running_work::wait_at_exit()
{
    // A child of fork has only the thread that forked.
    pthread_atfork(nullptr, nullptr, [] { count = 0; });
    Py_AtExit([] {
        for (int running = count; running != 0; running = count) {
            count.wait(running);
        }
    });
}

} // namespace kx::python
