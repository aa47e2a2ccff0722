# How this project's own targets are compiled. None of it reaches the users of the installed library: everything
# stands on one interface target, which the targets link privately.

if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(TOLM_CCACHE ccache)
  mark_as_advanced(TOLM_CCACHE)
  if(TOLM_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${TOLM_CCACHE}")
  endif()
endif()

# Written out even where the compiler's own default would do: the linter is another compiler with another default.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

if(PROJECT_IS_TOP_LEVEL)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
  endif()
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
endif()

add_library(tolmCompileOptions INTERFACE)
target_compile_options(
  tolmCompileOptions
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wnon-virtual-dtor
            -Wdeprecated-copy-dtor
            -Woverloaded-virtual
            -Wconversion
            -Wformat=2
            $<$<BOOL:${TOLM_WARNINGS_AS_ERRORS}>:-Werror>)
target_compile_definitions(tolmCompileOptions INTERFACE QT_NO_CAST_FROM_BYTEARRAY QT_NO_KEYWORDS
                                                        QT_DEPRECATED_WARNINGS QT_STRICT_ITERATORS)

if(TOLM_SANITIZE STREQUAL "address")
  set(tolmSanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
elseif(TOLM_SANITIZE STREQUAL "thread")
  set(tolmSanitizers -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT TOLM_SANITIZE STREQUAL "")
  message(FATAL_ERROR "TOLM_SANITIZE is \"${TOLM_SANITIZE}\": use address, thread or nothing")
endif()
target_compile_options(tolmCompileOptions INTERFACE ${tolmSanitizers})
target_link_options(tolmCompileOptions INTERFACE ${tolmSanitizers})
