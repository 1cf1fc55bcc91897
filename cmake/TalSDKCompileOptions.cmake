# Warning and sanitizer settings shared by every target of the project.

function(talsdk_target_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wold-style-cast -Wcast-align -Woverloaded-virtual)
  if(TALSDK_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# The libraries export only what their headers declare, and nothing is meant to replace those
# symbols at load time: calls inside a library may then go straight to the function (and be
# inlined) instead of through the PLT. Clang assumes this already.
function(talsdk_target_library_calls target)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
endfunction()

if(TALSDK_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
endif()
