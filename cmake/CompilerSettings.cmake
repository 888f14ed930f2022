# SPDX-License-Identifier: MIT
# Warnings and strict Qt defines for our own targets. Link against noflailsten_settings (private) to get them.

add_library(noflailsten_settings INTERFACE)

# -Wdouble-promotion: Clang takes a widening to long double for a loss, too.
target_compile_options(noflailsten_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Woverloaded-virtual -Wcast-align -Wundef
  -Wold-style-cast -Wformat=2 -Wimplicit-fallthrough
  $<$<CXX_COMPILER_ID:GNU>:-Wdouble-promotion>
  $<$<BOOL:${NOFLAILSTEN_WARNINGS_AS_ERRORS}>:-Werror>)

# What makes a memory error end the program instead of being used. Fortified functions need an optimised build, and would
# hide what they catch from a sanitizer.
target_compile_options(noflailsten_settings INTERFACE -fstack-protector-strong)
target_compile_definitions(noflailsten_settings INTERFACE
  $<$<CONFIG:RelWithDebInfo,Release,MinSizeRel>:_FORTIFY_SOURCE=2>)
target_link_options(noflailsten_settings INTERFACE LINKER:-z,relro,-z,now)

target_compile_definitions(noflailsten_settings INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_STRICT_ITERATORS QT_NO_KEYWORDS
  QT_NO_URL_CAST_FROM_STRING)
