# The default data directory: build/data/ holds the binary tables (encoding conversion, look-alike
# characters, pinyin, character classes) and, in build/data/Data/, the segmentation engine's data
# that vintrel-build-data makes from the text sources under data/. Part of every build (target
# vintrel_data).
#
# The tool writes into data.tmp/, which replaces data/ only once it is complete, so an interrupted or
# failed build never leaves a half-written data directory (at worst none, and the next build makes it).
#
# This file is also a script (cmake -P) for the two steps that need more than one command:
#   -DVINTREL_DATA_ACTION=build -DTOOL=... -DSOURCE=... -DOUTPUT=...   build into OUTPUT.tmp, rename
#   -DVINTREL_DATA_ACTION=check -DTOOL=... -DSOURCE=... -DWORK=...     ctest: two builds give identical
#                                                                        bytes (cmp); exit codes 1 and 2

set(VINTREL_DATA_FILES
    GBK.pdat GBK.wordlist UTF8.pdat UTF8.wordlist BIG5.pdat BIG5.wordlist GBKA.pdat GBKA.wordlist
    UTF2GBK.map GBK2UTF.map BIG2GBK.map GBK2BIG.map GBKA2GBK.map GBK2GBKA.map GBKA2UTF.map
    UTF2GBKA.map
    Xing.pdat Xing.wordlist Zi.pdat Zi.wordlist Xing2Zi.map
    pinyin.pdat pinyin.wordlist hanzi.pdat hanzi.wordlist hanzi2pinyin.map
    charset.type
    Data/PKU.map Data/PKU_First.map Data/GRAVO_First.map Data/Configure.xml
    Data/CoreDict.pdat Data/CoreDict.unig Data/CoreDict.pos Data/BiWord.big Data/GRAVO.ctx
    Data/charset.type Data/nr.role Data/nr.ctx Data/nr.fsa)

if(CMAKE_SCRIPT_MODE_FILE)
    if(VINTREL_DATA_ACTION STREQUAL "build")
        file(REMOVE_RECURSE "${OUTPUT}.tmp")
        execute_process(COMMAND "${TOOL}" "${SOURCE}" "${OUTPUT}.tmp" RESULT_VARIABLE rc)
        if(NOT rc EQUAL 0)
            message(FATAL_ERROR "vintrel-build-data failed (${rc}); ${OUTPUT} left as it was")
        endif()
        file(REMOVE_RECURSE "${OUTPUT}")
        file(RENAME "${OUTPUT}.tmp" "${OUTPUT}")
    elseif(VINTREL_DATA_ACTION STREQUAL "check")
        find_program(CMP cmp REQUIRED)
        file(REMOVE_RECURSE "${WORK}")
        foreach(run a b)
            execute_process(COMMAND "${TOOL}" "${SOURCE}" "${WORK}/${run}" RESULT_VARIABLE rc
                            OUTPUT_QUIET)
            if(NOT rc EQUAL 0)
                message(FATAL_ERROR "build ${run} failed (${rc})")
            endif()
        endforeach()
        # Files only, subdirectories included ("Data/CoreDict.pdat").
        file(GLOB_RECURSE written RELATIVE "${WORK}/a" "${WORK}/a/*")
        file(GLOB_RECURSE written_b RELATIVE "${WORK}/b" "${WORK}/b/*")
        list(SORT written)
        list(SORT written_b)
        set(expected ${VINTREL_DATA_FILES})
        list(SORT expected)
        if(NOT written STREQUAL expected OR NOT written_b STREQUAL expected)
            message(FATAL_ERROR "files written: ${written} / ${written_b}\nexpected: ${expected}")
        endif()
        foreach(name ${expected})
            execute_process(COMMAND "${CMP}" "${WORK}/a/${name}" "${WORK}/b/${name}"
                            RESULT_VARIABLE rc)
            if(NOT rc EQUAL 0)
                message(FATAL_ERROR "${name} differs between two builds of the same sources")
            endif()
        endforeach()
        # Bad usage exits 2 with the usage on stderr; a missing source exits 1.
        execute_process(COMMAND "${TOOL}" "${SOURCE}" RESULT_VARIABLE rc OUTPUT_QUIET
                        ERROR_VARIABLE err)
        if(NOT rc EQUAL 2 OR NOT err MATCHES "^usage: ")
            message(FATAL_ERROR "one argument: exit ${rc}, stderr '${err}' (want 2 and the usage)")
        endif()
        execute_process(COMMAND "${TOOL}" "${WORK}/no-such-dir" "${WORK}/c" RESULT_VARIABLE rc
                        OUTPUT_QUIET ERROR_QUIET)
        if(NOT rc EQUAL 1)
            message(FATAL_ERROR "missing sources: exit ${rc} (want 1)")
        endif()
        file(REMOVE_RECURSE "${WORK}")
    else()
        message(FATAL_ERROR "VINTREL_DATA_ACTION must be build or check")
    endif()
    return()
endif()

set(VINTREL_DATA_SOURCES
    "${PROJECT_SOURCE_DIR}/data/encoding/enc_gbk_unicode.tsv"
    "${PROJECT_SOURCE_DIR}/data/encoding/enc_utf8_extra.tsv"
    "${PROJECT_SOURCE_DIR}/data/encoding/enc_big5_gbk.tsv"
    "${PROJECT_SOURCE_DIR}/data/encoding/enc_gbk_big5.tsv"
    "${PROJECT_SOURCE_DIR}/data/encoding/gbka_t2s.gbk.txt"
    "${PROJECT_SOURCE_DIR}/data/encoding/gbka_s2t.gbk.txt"
    "${PROJECT_SOURCE_DIR}/data/encoding/gbka_t2s_phrases.gbk.txt"
    "${PROJECT_SOURCE_DIR}/data/encoding/gbka_s2t_phrases.gbk.txt"
    "${PROJECT_SOURCE_DIR}/data/xingzi/Xing2Zi.gbk.txt"
    "${PROJECT_SOURCE_DIR}/data/pinyin/pinyin.gbk.txt"
    "${PROJECT_SOURCE_DIR}/data/segmenter/jieba_dict.gbk.txt"
    "${PROJECT_SOURCE_DIR}/data/segmenter/hmm_posseg.tsv"
    "${PROJECT_SOURCE_DIR}/data/segmenter/Configure.xml"
    "${PROJECT_SOURCE_DIR}/data/segmenter/surnames.txt")
set(VINTREL_DATA_DIR "${CMAKE_BINARY_DIR}/data")
list(TRANSFORM VINTREL_DATA_FILES PREPEND "${VINTREL_DATA_DIR}/" OUTPUT_VARIABLE VINTREL_DATA_OUTPUTS)

add_custom_command(
    OUTPUT ${VINTREL_DATA_OUTPUTS}
    COMMAND "${CMAKE_COMMAND}" -DVINTREL_DATA_ACTION=build "-DTOOL=$<TARGET_FILE:vintrel-build-data>"
            "-DSOURCE=${PROJECT_SOURCE_DIR}/data" "-DOUTPUT=${VINTREL_DATA_DIR}"
            -P "${CMAKE_CURRENT_LIST_FILE}"
    DEPENDS vintrel-build-data ${VINTREL_DATA_SOURCES} "${CMAKE_CURRENT_LIST_FILE}"
    COMMENT "Building the data directory ${VINTREL_DATA_DIR}"
    VERBATIM)
add_custom_target(vintrel_data ALL DEPENDS ${VINTREL_DATA_OUTPUTS})

if(VINTREL_BUILD_TESTS)
    add_test(NAME data.BuildTwiceIdentical
             COMMAND "${CMAKE_COMMAND}" -DVINTREL_DATA_ACTION=check
                     "-DTOOL=$<TARGET_FILE:vintrel-build-data>" "-DSOURCE=${PROJECT_SOURCE_DIR}/data"
                     "-DWORK=${CMAKE_BINARY_DIR}/data-check" -P "${CMAKE_CURRENT_LIST_FILE}")
    set_tests_properties(data.BuildTwiceIdentical PROPERTIES LABELS data)
endif()
