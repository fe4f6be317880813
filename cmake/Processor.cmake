# Refuses processors that nothing here is written or tested for. Also a script:
#     cmake -D CMAKE_SIZEOF_VOID_P=4 -D CMAKE_CXX_BYTE_ORDER=LITTLE_ENDIAN -P cmake/Processor.cmake
if(NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
  message(FATAL_ERROR "VYR needs 64-bit addresses: a factor soon outgrows what 32 bits can number.")
endif()
if(NOT CMAKE_CXX_BYTE_ORDER STREQUAL "LITTLE_ENDIAN")
  message(FATAL_ERROR "VYR needs a little-endian processor: its checks of 32-bit halves and its factor files are "
                      "written for that order.")
endif()
