// What a function remembers for the thread that calls it.
#pragma once

namespace tramo {

// A `T` of zeros for each thread. In a shared library a thread finds its variables by a call; a pointer it finds at once.
template <class T> T& ownOfThread() {
#ifdef __ELF__
    [[gnu::tls_model("initial-exec")]]
#endif
    static constinit thread_local T* own = nullptr;
    static constinit thread_local T memory{};
    if (!own) own = &memory;
    return *own;
}

}  // namespace tramo
