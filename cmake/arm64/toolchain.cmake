# Builds programs for 64-bit ARM on Linux with Debian's cross compiler, and runs them under QEMU.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/qemu")

# Programs come from this system, libraries and headers from packages of the other processor (unpack-packages.sh).
set(VYR_ARM64_PACKAGES "$ENV{VYR_ARM64_PACKAGES}" CACHE PATH "where Debian's packages for arm64 are unpacked")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VYR_ARM64_PACKAGES)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${VYR_ARM64_PACKAGES}/usr/lib/aarch64-linux-gnu") # what those need
set(CMAKE_FIND_ROOT_PATH "${VYR_ARM64_PACKAGES}" /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH) # an installed VYR may be anywhere
set(ZLIB_USE_STATIC_LIBS ON)
