# Builds for ARM with Debian's cross compiler ARM_PREFIX-g++ and runs what it built in the user-mode emulator. The ARM
# libraries and headers lie beside the build's folder; none of the workstation's own is used in their place.
# scripts/arm.sh sets all of it up.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ARM_PREFIX ARM_ROOT)
if(NOT ARM_ROOT)
  set(ARM_ROOT ${CMAKE_BINARY_DIR}-root)
endif()
string(REGEX MATCH "^[^-]+" arm_processor "${ARM_PREFIX}")

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${arm_processor})
set(CMAKE_CXX_COMPILER ${ARM_PREFIX}-g++)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # notes about compilers older than any that can build this
set(CMAKE_LIBRARY_ARCHITECTURE ${ARM_PREFIX})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${arm_processor} -L /usr/${ARM_PREFIX})

set(CMAKE_FIND_ROOT_PATH ${ARM_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
