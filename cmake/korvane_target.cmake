# What all targets of the project share: the language, the warnings, the include root (the
# repository's own, or the folder of installed headers) and the sanitizers.
function(korvane_target target)
  get_target_property(type ${target} TYPE)
  set(root $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${KORVANE_INCLUDEDIR}>)
  if(type STREQUAL "INTERFACE_LIBRARY")
    target_include_directories(${target} INTERFACE ${root})
    target_compile_features(${target} INTERFACE cxx_std_20)
    return()
  endif()
  target_include_directories(${target} PUBLIC ${root})
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
  # What the assertion reports as its file names the source tree's own path, not the machine's.
  target_compile_options(${target} PRIVATE -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
  # g++ 12 sees an overlap in every "x" + std::string when it optimises (GCC bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  if(KORVANE_SANITIZE)
    # What sanitizers put into the code has g++ 12 take std::regex for uninitialised (GCC bug 105562).
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized
      -fsanitize=${KORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${KORVANE_SANITIZE})
  endif()
endfunction()

# Half of what most sources take to compile is what they include, which eight then share. For targets
# whose sources share much; the others are compiled one by one in every build.
function(korvane_unity target)
  set_target_properties(${target} PROPERTIES
    UNITY_BUILD ${KORVANE_UNITY} UNITY_BUILD_MODE BATCH UNITY_BUILD_BATCH_SIZE 8)
  if(KORVANE_UNITY)
    # A class of one source alone seems to be one of a header.
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
endfunction()

# For the sources of contracts, each of which makes all that is derived from its descriptions, and for
# those that make all of their records: g++ 12 takes the text of an empty std::optional for one
# that is not initialised (GCC bug 80635).
function(korvane_contract_sources)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -Wno-maybe-uninitialized)
  endif()
endfunction()

# Makes the library korvane_NAME part of the installed CMake package, as korvane::NAME.
function(korvane_exported)
  foreach(name IN LISTS ARGN)
    set_target_properties(korvane_${name} PROPERTIES EXPORT_NAME ${name})
    install(TARGETS korvane_${name} EXPORT korvane
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libkorvane-dev)
  endforeach()
endfunction()
