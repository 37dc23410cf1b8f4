# Helpers shared by every CMakeLists of the project.

# Warnings for the project's own targets; errors where the build asks for it.
function(kov_target_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
      -Wcast-align -Woverloaded-virtual -Wformat=2)
    if(KOV_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

if(KOV_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# ThreadSanitizer cannot be combined with AddressSanitizer; the two options
# exclude each other.
if(KOV_SANITIZE_THREAD)
  if(KOV_SANITIZE)
    message(FATAL_ERROR "KOV_SANITIZE and KOV_SANITIZE_THREAD cannot be combined")
  endif()
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

# Fuzzing: everything is built with coverage feedback for libFuzzer and with
# AddressSanitizer and UndefinedBehaviorSanitizer; the fuzz programs add the
# libFuzzer driver themselves.
if(KOV_BUILD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# Adds every direct subfolder of DIR that has a CMakeLists.txt, in name order,
# so that a new tool, plug-in or benchmark needs no edit of a shared file.
function(kov_add_subdirectories dir)
  file(GLOB children RELATIVE ${PROJECT_SOURCE_DIR}/${dir} ${PROJECT_SOURCE_DIR}/${dir}/*)
  list(SORT children)
  foreach(child IN LISTS children)
    if(EXISTS ${PROJECT_SOURCE_DIR}/${dir}/${child}/CMakeLists.txt)
      add_subdirectory(${dir}/${child})
    endif()
  endforeach()
endfunction()

# Turns message files into one C++ source that the foundation compiles in, so
# that status texts are readable even where no message file is installed.
function(kov_embed_messages output)
  set(body "")
  foreach(file IN LISTS ARGN)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} text)
    string(APPEND body "${text}\n")
  endforeach()
  file(CONFIGURE OUTPUT ${output} CONTENT
"// Generated from the message files; do not edit.
namespace nev::detail {
extern const char* const default_messages;
const char* const default_messages = R\"nevmsg(@body@)nevmsg\";
}
" @ONLY)
endfunction()

# A program of the project: warnings, the build-tree output folder.
function(kov_program target)
  kov_target_warnings(${target})
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endfunction()
