# The bundle: the folder tree that the program finds its own parts in. An installed copy has the same shape.
#   bin/                       the programs
#   Contents/Helpers/          the engine helpers, which read all media, and the programs that they run: links to the
#                              system's ffmpeg and ffprobe, or programs with their libraries
#   Contents/Libraries/        in the archive for every distribution alone: the libraries of all of them
#   Contents/Resources/        catalogue, help, licences
#   Contents/Info.json         version, release date, update settings

set(QUORVALENT_BUNDLE_DIR ${PROJECT_BINARY_DIR}/bundle)

# The system's programs that the bundle links to: found once, so that no PATH of the user's decides what runs.
function(quorvalent_find_media_programs)
    find_program(QUORVALENT_FFMPEG_PROGRAM ffmpeg REQUIRED)
    find_program(QUORVALENT_FFPROBE_PROGRAM ffprobe REQUIRED)
endfunction()

function(quorvalent_bundle)
    file(MAKE_DIRECTORY ${QUORVALENT_BUNDLE_DIR}/bin ${QUORVALENT_BUNDLE_DIR}/Contents/Helpers
        ${QUORVALENT_BUNDLE_DIR}/Contents/Resources)
    file(CREATE_LINK ${QUORVALENT_FFMPEG_PROGRAM} ${QUORVALENT_BUNDLE_DIR}/Contents/Helpers/ffmpeg SYMBOLIC)
    file(CREATE_LINK ${QUORVALENT_FFPROBE_PROGRAM} ${QUORVALENT_BUNDLE_DIR}/Contents/Helpers/ffprobe SYMBOLIC)
    configure_file(${PROJECT_SOURCE_DIR}/resources/Info.json.in
        ${QUORVALENT_BUNDLE_DIR}/Contents/Info.json @ONLY)
    configure_file(${PROJECT_SOURCE_DIR}/LICENSE
        ${QUORVALENT_BUNDLE_DIR}/Contents/Resources/LICENSE COPYONLY)
    # The licence of the external engine, as the system has it.
    configure_file(/usr/share/common-licenses/GPL-3
        ${QUORVALENT_BUNDLE_DIR}/Contents/Resources/FFmpeg/COPYING.GPLv3 COPYONLY)
    file(GLOB pages RELATIVE ${PROJECT_SOURCE_DIR}/resources CONFIGURE_DEPENDS
        ${PROJECT_SOURCE_DIR}/resources/Help/*.html)
    foreach(resource Translations.json ${pages})
        configure_file(${PROJECT_SOURCE_DIR}/resources/${resource}
            ${QUORVALENT_BUNDLE_DIR}/Contents/Resources/${resource} COPYONLY)
    endforeach()
endfunction()

# For the test programs and benchmarks, which do not lie in bin/: the build folder as the bundle above them.
function(quorvalent_trial_bundle)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/Contents/Helpers)
    foreach(part Helpers/ffmpeg Helpers/ffprobe Helpers/quorvalent-engine Helpers/quorvalent-image-engine Resources)
        file(CREATE_LINK ${QUORVALENT_BUNDLE_DIR}/Contents/${part} ${PROJECT_BINARY_DIR}/Contents/${part} SYMBOLIC)
    endforeach()
endfunction()

# A program of ours, in the bundle's bin/. None of them reads media itself.
function(quorvalent_program name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;USES")
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_USES} quorvalent_rules)
    set_target_properties(${name} PROPERTIES AUTOMOC ON
        RUNTIME_OUTPUT_DIRECTORY ${QUORVALENT_BUNDLE_DIR}/bin)
    add_dependencies(${name} quorvalent-engines)
    if(QUORVALENT_TESTS)
        # What reads media belongs into the engine helpers. (Qt Gui has libpng for the pictures of programs.)
        add_test(NAME ${name}-reads-no-media COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${name}>
            "-DLIBRARIES=vips|heif|tiff|webp|sndfile|tag|jpeg|gif|FLAC|vorbis|av"
            -P ${PROJECT_SOURCE_DIR}/cmake/LoadsNone.cmake)
    endif()
endfunction()
