# SPDX-License-Identifier: Apache-2.0
# How every target of this tree is compiled; linked PRIVATE, so nothing leaks to consumers.
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(vellumo_settings INTERFACE)
target_compile_features(vellumo_settings INTERFACE cxx_std_20)
target_compile_definitions(vellumo_settings INTERFACE _FILE_OFFSET_BITS=64)
target_compile_options(vellumo_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
    -Wold-style-cast -Wformat=2 -Wundef -fstack-protector-strong)
target_link_options(vellumo_settings INTERFACE -Wl,-z,relro,-z,now -Wl,--no-undefined)
if(VELLUMO_WARNINGS_AS_ERRORS)
    target_compile_options(vellumo_settings INTERFACE -Werror)
endif()
if(VELLUMO_SANITIZE)
    add_compile_options(-fsanitize=${VELLUMO_SANITIZE} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${VELLUMO_SANITIZE})
endif()
if(VELLUMO_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
