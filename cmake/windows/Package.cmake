# The folder a Windows engineer unpacks: vyr-<version>-win64.zip. "cpack" in the build folder makes it.
include(CMakePackageConfigHelpers)
install(FILES include/vyr.h DESTINATION include)
install(DIRECTORY include/vyr DESTINATION include)

# Visual Studio's import library. LLVM's dlltool writes the short form that Microsoft's own tools write; the
# long form of GNU's makes Microsoft's linker throw needed parts away when it removes unused code.
find_program(VYR_DLLTOOL NAMES llvm-dlltool llvm-dlltool-19 llvm-dlltool-14 DOC "LLVM's dlltool")
if(NOT VYR_DLLTOOL)
  message(FATAL_ERROR "llvm-dlltool was not found (Debian: llvm); it writes the import library for Visual Studio.")
endif()
foreach(library IN ITEMS vyr vyrsolver)
  set(implib "${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/${library}.lib")
  set(names "${PROJECT_BINARY_DIR}/${library}.def")
  add_custom_command(OUTPUT "${implib}" COMMAND "${VYR_DLLTOOL}" -m i386:x86-64 -d "${names}" -l "${implib}"
    DEPENDS "${names}" VERBATIM)
  add_custom_target(${library}_msvc_implib ALL DEPENDS "${implib}")
  install(FILES "${implib}" "${names}" DESTINATION lib)
endforeach()

# The linker may leave an import library beside a program, too; it must not be the DLL's.
if(TARGET vyr_tool)
  set_target_properties(vyr_tool PROPERTIES ARCHIVE_OUTPUT_NAME vyr_tool)
endif()

write_basic_package_version_file(vyrConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/windows/package/vyrConfig.cmake "${PROJECT_BINARY_DIR}/vyrConfigVersion.cmake" DESTINATION cmake)
install(FILES cmake/windows/package/README.md DESTINATION .)
file(GLOB examples examples/*.c examples/*.cpp examples/*.h examples/CMakeLists.txt)
install(FILES ${examples} DESTINATION examples)
install(FILES LICENSE DESTINATION licences RENAME VYR.txt)
if(VYR_WINDOWS_DEPENDENCIES)
  install(DIRECTORY "${VYR_WINDOWS_DEPENDENCIES}/licence/" DESTINATION licences)
endif()
install(FILES /usr/share/doc/libz-mingw-w64-dev/copyright DESTINATION licences RENAME zlib.txt) # is in vyr.exe
install(FILES ${VYR_METIS_LICENCE} ${VYR_AMD_LICENCE} ${VYR_HIGHWAY_LICENCE} DESTINATION licences)
install(FILES "${VYR_CLI11_LICENCE}" DESTINATION licences RENAME CLI11.txt) # is in vyr.exe, too

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME "vyr-${PROJECT_VERSION}-win64")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
