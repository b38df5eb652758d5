add_library(zent_warnings INTERFACE)
target_compile_options(zent_warnings INTERFACE -Wall -Wextra -Werror)
