# Sanitizer builds: VINTREL_SANITIZE=address gives AddressSanitizer with UndefinedBehaviorSanitizer,
# VINTREL_SANITIZE=thread gives ThreadSanitizer. Applied to every target.
if(VINTREL_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(VINTREL_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(VINTREL_SANITIZE)
    message(FATAL_ERROR "VINTREL_SANITIZE must be empty, 'address' or 'thread'")
endif()

# Fuzz builds instrument the whole library for coverage, with ASan and UBSan.
if(VINTREL_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
