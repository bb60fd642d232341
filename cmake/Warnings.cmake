# Warnings applied to every target of the project.
function(vintrel_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow=local -Wno-unused-parameter)
    if(VINTREL_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
