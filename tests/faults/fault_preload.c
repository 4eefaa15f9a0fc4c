/* Loaded in front of a program: from where the program calls armFaults(1), or from its start with
   FAULT_ARMED set, the calls below that it makes of the C library are counted, and one of them
   fails.

   FAULT_CALL   name of the calls that are counted; all without it
   FAULT_AT     number of the call among these, from 1 on
   FAULT_WHAT   an errno number; -1 for a transfer of a part only; -2 kills the program in front of
   the call FAULT_LASTS  set: later calls of the same name fail too FAULT_TRACE  file that the names
   of the counted calls are written to, a line each */

#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

enum { kShort = -1, kKill = -2 };

static int armed;
static int lasts;
static int countsMemory;
static int what;
static long at;
static const char* tracePath;
static const char* only;
static long calls;
static const char* struck;

static long setting(const char* name) {
    const char* text = getenv(name);
    return text ? atol(text) : 0;
}

__attribute__((constructor)) static void begin(void) {
    lasts = getenv("FAULT_LASTS") != NULL;
    countsMemory = getenv("FAULT_MEMORY") != NULL;
    tracePath = getenv("FAULT_TRACE");
    only = getenv("FAULT_CALL");
    what = (int)setting("FAULT_WHAT");
    at = setting("FAULT_AT");
    armed = getenv("FAULT_ARMED") != NULL;
}

static void trace(const char* name) {
    const int file = tracePath ? (int)syscall(SYS_openat, AT_FDCWD, tracePath,
                                              O_WRONLY | O_CREAT | O_APPEND, 0600)
                               : -1;
    if (file >= 0) {
        syscall(SYS_write, file, name, strlen(name));
        syscall(SYS_write, file, "\n", 1);
        syscall(SYS_close, file);
    }
}

__attribute__((visibility("default"))) void armFaults(int on) {
    __atomic_store_n(&armed, on, __ATOMIC_SEQ_CST);
}

/* What is to become of a call: 0 for nothing, else an errno number, which is set, or kShort. */
static int fateOf(const char* name, int isMemory) {
    if (!__atomic_load_n(&armed, __ATOMIC_SEQ_CST) || isMemory != countsMemory ||
        (only && strcmp(only, name) != 0)) {
        return 0;
    }
    const int before = errno;
    const long number = __atomic_add_fetch(&calls, 1, __ATOMIC_SEQ_CST);
    trace(name);
    errno = before;
    const int again = struck && lasts && strcmp(struck, name) == 0;
    if (number != at && !again) {
        return 0;
    }
    struck = name;
    if (what == kKill) {
        kill(getpid(), SIGKILL);
    }
    errno = what > 0 ? what : before;
    return what;
}

static int fate(const char* name) {
    return fateOf(name, 0);
}

/* What the C library names its own forms. */
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

__attribute__((visibility("default"))) void* malloc(size_t size) {
    return fateOf("malloc", 1) ? NULL : __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
    return fateOf("malloc", 1) ? NULL : __libc_calloc(count, size);
}
__attribute__((visibility("default"))) void* realloc(void* block, size_t size) {
    return fateOf("malloc", 1) ? NULL : __libc_realloc(block, size);
}

#define NEXT(type, name, parameters)              \
    static type(*next) parameters;                \
    if (!next) {                                  \
        *(void**)&next = dlsym(RTLD_NEXT, #name); \
    }

/* A call that is done or fails. */
#define CALL(type, failure, name, parameters, arguments)          \
    __attribute__((visibility("default"))) type name parameters { \
        NEXT(type, name, parameters)                              \
        return fate(#name) > 0 ? (failure) : next arguments;      \
    }

/* One that moves `size` bytes, or a part of them. */
#define TRANSFER(name, parameters, whole, part)                                   \
    __attribute__((visibility("default"))) ssize_t name parameters {              \
        NEXT(ssize_t, name, parameters)                                           \
        const int way = fate(#name);                                              \
        return way > 0 ? -1 : way == kShort && size > 1 ? next part : next whole; \
    }

TRANSFER(read, (int fd, void* to, size_t size), (fd, to, size), (fd, to, 1))
TRANSFER(pread, (int fd, void* to, size_t size, off_t at), (fd, to, size, at), (fd, to, 1, at))
TRANSFER(recv, (int fd, void* to, size_t size, int flags), (fd, to, size, flags),
         (fd, to, 1, flags))
TRANSFER(write, (int fd, const void* from, size_t size), (fd, from, size), (fd, from, size / 2))
TRANSFER(send, (int fd, const void* from, size_t size, int flags), (fd, from, size, flags),
         (fd, from, size / 2, flags))
TRANSFER(getrandom, (void* to, size_t size, unsigned flags), (to, size, flags), (to, 1, flags))

CALL(int, -1, fsync, (int fd), (fd))
CALL(int, -1, ftruncate, (int fd, off_t size), (fd, size))
CALL(off_t, -1, lseek, (int fd, off_t offset, int whence), (fd, offset, whence))
CALL(int, -1, flock, (int fd, int operation), (fd, operation))
CALL(int, -1, fstat, (int fd, struct stat* status), (fd, status))
CALL(int, -1, stat, (const char* path, struct stat* status), (path, status))
CALL(int, -1, lstat, (const char* path, struct stat* status), (path, status))
CALL(int, -1, rename, (const char* from, const char* to), (from, to))
CALL(int, -1, renameat2,
     (int fromFolder, const char* from, int toFolder, const char* to, unsigned flags),
     (fromFolder, from, toFolder, to, flags))
CALL(int, -1, link, (const char* from, const char* to), (from, to))
CALL(int, -1, unlink, (const char* path), (path))
CALL(int, -1, mkdir, (const char* path, mode_t mode), (path, mode))
CALL(int, -1, chmod, (const char* path, mode_t mode), (path, mode))
CALL(int, -1, chown, (const char* path, uid_t owner, gid_t group), (path, owner, group))
CALL(DIR*, NULL, opendir, (const char* path), (path))
CALL(struct dirent*, NULL, readdir, (DIR * folder), (folder))
CALL(int, -1, socket, (int domain, int type, int protocol), (domain, type, protocol))
CALL(int, -1, connect, (int fd, const struct sockaddr* to, socklen_t size), (fd, to, size))
CALL(int, -1, getsockopt, (int fd, int level, int name, void* value, socklen_t* size),
     (fd, level, name, value, size))
CALL(int, -1, setsockopt, (int fd, int level, int name, const void* value, socklen_t size),
     (fd, level, name, value, size))
CALL(int, -1, poll, (struct pollfd * entries, nfds_t count, int limit), (entries, count, limit))
CALL(int, -1, eventfd, (unsigned count, int flags), (count, flags))
CALL(int, EAI_AGAIN, getaddrinfo,
     (const char* host, const char* service, const struct addrinfo* hints, struct addrinfo** out),
     (host, service, hints, out))

/* The descriptor is gone even when it fails. */
__attribute__((visibility("default"))) int close(int fd) {
    NEXT(int, close, (int))
    const int way = fate("close");
    const int result = next(fd);
    if (way > 0) {
        errno = way;
        return -1;
    }
    return result;
}

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
    NEXT(int, open, (const char*, int, ...))
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return fate("open") > 0 ? -1 : next(path, flags, mode);
}
