# Builds for 64-bit Arm on another machine, with Debian's cross compiler and the libraries of its arm64 packages.
# Programs that the build runs, tests among them, run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)

# Where both kinds of libraries lie side by side, only a path tells them apart.
set(CMAKE_IGNORE_PREFIX_PATH /usr/local)
set(CMAKE_IGNORE_PATH /usr/lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu)
set(OPENSSL_USE_STATIC_LIBS OFF)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
