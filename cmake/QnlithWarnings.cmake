# Warning and sanitizer settings shared by every target of the project.
add_library(qnlith_build_flags INTERFACE)
target_compile_options(qnlith_build_flags INTERFACE -Wall -Wextra -Wno-unused-parameter)
if(QNLITH_WERROR)
  target_compile_options(qnlith_build_flags INTERFACE -Werror)
endif()
if(QNLITH_SANITIZE)
  target_compile_options(qnlith_build_flags INTERFACE
    -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(qnlith_build_flags INTERFACE -fsanitize=address,undefined)
endif()

option(QNLITH_TSAN "Build with ThreadSanitizer (not together with QNLITH_SANITIZE)" OFF)
if(QNLITH_TSAN)
  if(QNLITH_SANITIZE)
    message(FATAL_ERROR "QNLITH_TSAN and QNLITH_SANITIZE exclude each other")
  endif()
  target_compile_options(qnlith_build_flags INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(qnlith_build_flags INTERFACE -fsanitize=thread)
endif()

# Applies the project's flags to a target without exporting them to users.
function(qnlith_use_build_flags target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:qnlith_build_flags>)
endfunction()
