# SPDX-License-Identifier: MIT
# Warnings and strict Qt defines for our own targets. Link against noflailsten_settings (private) to get them.

add_library(noflailsten_settings INTERFACE)

target_compile_options(noflailsten_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Woverloaded-virtual -Wcast-align -Wundef
  -Wold-style-cast -Wformat=2 -Wdouble-promotion -Wimplicit-fallthrough
  $<$<BOOL:${NOFLAILSTEN_WARNINGS_AS_ERRORS}>:-Werror>)

target_compile_definitions(noflailsten_settings INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_STRICT_ITERATORS QT_NO_KEYWORDS
  QT_NO_URL_CAST_FROM_STRING)
