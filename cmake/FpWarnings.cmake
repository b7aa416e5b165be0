# Warnings are errors in everything of ours; sanitizers come with them so that every target has the same.

add_library(fp_strict INTERFACE)
add_library(fp::strict ALIAS fp_strict)
target_compile_options(fp_strict INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)

if(FP_SANITIZE)
    target_compile_options(fp_strict INTERFACE -fsanitize=${FP_SANITIZE} -fno-sanitize-recover=all
                                               -fno-omit-frame-pointer)
    target_link_options(fp_strict INTERFACE -fsanitize=${FP_SANITIZE})
endif()
