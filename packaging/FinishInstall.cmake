# Runs at the end of an installation: what depends on the place, and what is made from the programs themselves.

set(root "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}")
if(component STREQUAL "quorvalent")
    string(APPEND root "/${bundle_place}")

    # Below /usr a package's links are relative, so that they hold inside a root folder too.
    file(MAKE_DIRECTORY ${root}/Contents/Helpers)
    foreach(target ${media_programs})
        cmake_path(GET target FILENAME name)
        if(CMAKE_INSTALL_PREFIX MATCHES "^/usr(/|$)" AND target MATCHES "^/usr/")
            file(RELATIVE_PATH target ${CMAKE_INSTALL_PREFIX}/${bundle_place}/Contents/Helpers ${target})
        endif()
        file(REMOVE ${root}/Contents/Helpers/${name})
        file(CREATE_LINK ${target} ${root}/Contents/Helpers/${name} SYMBOLIC)
    endforeach()

    file(REMOVE_RECURSE ${made}/pictures)
    file(MAKE_DIRECTORY ${made}/pictures ${made}/no-settings)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 LANGUAGE=en XDG_CONFIG_HOME=${made}/no-settings
            XDG_RUNTIME_DIR=${made}/no-settings QT_LOGGING_RULES=*=false ${program} --render-ui ${made}/pictures
        COMMAND_ERROR_IS_FATAL ANY)
    set(places "")
    foreach(picture ${pictures})
        list(APPEND places ${made}/pictures/${picture}.png)
    endforeach()
    file(INSTALL ${places} DESTINATION ${CMAKE_INSTALL_PREFIX}/share/doc/quorvalent/screenshots)
endif()

if(CMAKE_INSTALL_DO_STRIP)
    file(GLOB_RECURSE files LIST_DIRECTORIES false ${root}/bin/* ${root}/Contents/Helpers/*)
    foreach(file ${files})
        if(IS_SYMLINK ${file})
            continue()
        endif()
        file(READ ${file} mark LIMIT 4 HEX)
        if(mark STREQUAL "7f454c46")
            execute_process(COMMAND ${strip} --remove-section=.comment --remove-section=.note ${file}
                COMMAND_ERROR_IS_FATAL ANY)
        endif()
    endforeach()
endif()
