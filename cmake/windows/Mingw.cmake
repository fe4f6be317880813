# How the library is compiled and linked for Windows, by mingw-w64 on any system.
include(CheckCXXCompilerFlag)

# Win64 aligns the stack to 16 bytes only, and the compiler keeps vectors of 32 and 64 bytes there. The
# assembler writes their moves as instructions that need no alignment; they are as fast.
check_cxx_compiler_flag(-Wa,-muse-unaligned-vector-move VYR_HAS_UNALIGNED_VECTOR_MOVE)
if(NOT VYR_HAS_UNALIGNED_VECTOR_MOVE)
  message(FATAL_ERROR "The assembler does not know -muse-unaligned-vector-move: binutils 2.38 or newer is needed.")
endif()
add_compile_options(-Wa,-muse-unaligned-vector-move)

# The C99 formats of mingw's own printf, whatever C run time stands behind it.
add_compile_definitions(__USE_MINGW_ANSI_STDIO=1)

# Run times go into each program and library: what is delivered needs nothing but Windows itself.
add_link_options(-static)
set(ZLIB_USE_STATIC_LIBS ON)
execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=libgomp.a OUTPUT_VARIABLE gomp
  OUTPUT_STRIP_TRAILING_WHITESPACE)
set(OpenMP_gomp_LIBRARY "${gomp}" CACHE FILEPATH "OpenMP run time")
