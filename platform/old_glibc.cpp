// The program that a copy carries must start on desktops whose C library is older than the
// one it was built with (Debian 11 has glibc 2.31). Since glibc 2.32 the threads, semaphores,
// dlopen and stat calls carry new symbol versions, and the start code calls the 2.34
// __libc_start_main, so a build here would ask the loader for versions an older glibc lacks.
// The link wraps each of those calls (-Wl,--wrap, which reaches the static SDL2, GLEW and
// libstdc++ too) and sends it to the oldest version, which every glibc since 2.2.5 exports:
// from libpthread and libdl before 2.34, from libc after, so the program names both.
#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/stat.h>
#include <time.h>

#define TW_OLD_VERSION(name) __asm__(".symver tw_old_" #name ", " #name "@GLIBC_2.2.5")
#define TW_OLD(ret, name, params, args)                                                            \
    extern "C" ret tw_old_##name params;                                                           \
    TW_OLD_VERSION(name);                                                                          \
    extern "C" ret __wrap_##name params { return tw_old_##name args; }

TW_OLD(void*, dlopen, (const char* f, int m), (f, m))
TW_OLD(void*, dlsym, (void* h, const char* s), (h, s))
TW_OLD(int, dlclose, (void* h), (h))
TW_OLD(char*, dlerror, (void), ())
TW_OLD(int, pthread_create, (pthread_t * t, const pthread_attr_t* a, void* (*f)(void*), void* p), (t, a, f, p))
TW_OLD(int, pthread_join, (pthread_t t, void** r), (t, r))
TW_OLD(int, pthread_detach, (pthread_t t), (t))
TW_OLD(int, pthread_attr_setstacksize, (pthread_attr_t * a, size_t s), (a, s))
TW_OLD(int, pthread_once, (pthread_once_t * o, void (*f)(void)), (o, f))
TW_OLD(int, pthread_key_create, (pthread_key_t * k, void (*f)(void*)), (k, f))
TW_OLD(void*, pthread_getspecific, (pthread_key_t k), (k))
TW_OLD(int, pthread_setspecific, (pthread_key_t k, const void* v), (k, v))
TW_OLD(int, pthread_mutex_trylock, (pthread_mutex_t * m), (m))
TW_OLD(int, pthread_mutexattr_init, (pthread_mutexattr_t * a), (a))
TW_OLD(int, pthread_mutexattr_settype, (pthread_mutexattr_t * a, int t), (a, t))
TW_OLD(int, pthread_sigmask, (int h, const sigset_t* s, sigset_t* o), (h, s, o))
TW_OLD(int, sem_init, (sem_t * s, int p, unsigned v), (s, p, v))
TW_OLD(int, sem_destroy, (sem_t * s), (s))
TW_OLD(int, sem_getvalue, (sem_t * s, int* v), (s, v))
TW_OLD(int, sem_post, (sem_t * s), (s))
TW_OLD(int, sem_wait, (sem_t * s), (s))
TW_OLD(int, sem_trywait, (sem_t * s), (s))
TW_OLD(int, sem_timedwait, (sem_t * s, const struct timespec* t), (s, t))

// stat and fstat became functions of their own in 2.33; before, they were the inline
// callers of __xstat and __fxstat, with the structure's version first (1 on x86-64)
extern "C" int tw_old___xstat(int v, const char* p, struct stat* s);
TW_OLD_VERSION(__xstat);
extern "C" int tw_old___fxstat(int v, int fd, struct stat* s);
TW_OLD_VERSION(__fxstat);
extern "C" int __wrap_stat(const char* p, struct stat* s) { return tw_old___xstat(1, p, s); }
extern "C" int __wrap_fstat(int fd, struct stat* s) { return tw_old___fxstat(1, fd, s); }

// The start code of 2.34 passes no initialiser, as the new __libc_start_main finds the
// program's constructors itself; the old one needs them given, as the old start code did
typedef int (*TwMain)(int, char**, char**);
typedef void (*TwInit)(int, char**, char**);
extern "C" void _init(void);
extern "C" TwInit __init_array_start[];
extern "C" TwInit __init_array_end[];
extern "C" int tw_old___libc_start_main(TwMain m, int argc, char** argv, TwInit init, void (*fini)(void),
                                        void (*rtld_fini)(void), void* stack_end);
TW_OLD_VERSION(__libc_start_main);

static void RunConstructors(int argc, char** argv, char** envp)
{
    _init();
    for (TwInit* p = __init_array_start; p < __init_array_end; p++)
        (*p)(argc, argv, envp);
}

extern "C" int __wrap___libc_start_main(TwMain m, int argc, char** argv, TwInit init, void (*fini)(void),
                                        void (*rtld_fini)(void), void* stack_end)
{
    return tw_old___libc_start_main(m, argc, argv, init ? init : RunConstructors, fini, rtld_fini, stack_end);
}
