# Warnings of all our own code, and errors where VYR_WERROR asks for it (CI does).
option(VYR_WERROR "Treat warnings as errors" OFF)
add_library(vyr_warnings INTERFACE)
target_compile_options(vyr_warnings INTERFACE -Wall -Wextra $<$<COMPILE_LANGUAGE:CXX>:-Wconversion -Wno-sign-conversion -Wshadow>
                       $<$<BOOL:${VYR_WERROR}>:-Werror>)
