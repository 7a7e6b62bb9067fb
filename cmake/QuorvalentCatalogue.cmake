# Texts of the catalogue for files that the desktop reads: one function for each of their forms. Keys are the French
# texts; a key that the catalogue does not have ends the configuration.

set(QUORVALENT_CATALOGUE ${PROJECT_SOURCE_DIR}/resources/Translations.json)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${QUORVALENT_CATALOGUE})
set(QUORVALENT_LANGUAGES fr nl de it es pt uk ru zh-Hans ja ko hi km) # English is what the files say first

file(READ ${QUORVALENT_CATALOGUE} QUORVALENT_TABLES)
foreach(language en ${QUORVALENT_LANGUAGES})
    string(JSON QUORVALENT_TABLE_${language} GET "${QUORVALENT_TABLES}" ${language})
endforeach()

# quorvalent_entry(NAME GenericName "Conversion de fichiers"): lines of a desktop entry.
function(quorvalent_entry variable field key)
    string(JSON text GET "${QUORVALENT_TABLE_en}" "${key}")
    set(lines "${field}=${text}")
    foreach(language ${QUORVALENT_LANGUAGES})
        string(JSON text GET "${QUORVALENT_TABLE_${language}}" "${key}")
        string(REPLACE "zh-Hans" "zh_CN" locale ${language})
        string(APPEND lines "\n${field}[${locale}]=${text}")
    endforeach()
    set(${variable} "${lines}" PARENT_SCOPE)
endfunction()

# quorvalent_elements(SUMMARY summary "Conversion de fichiers"): elements of a metainfo file.
function(quorvalent_elements variable element key)
    set(lines "")
    foreach(language en ${QUORVALENT_LANGUAGES})
        string(JSON text GET "${QUORVALENT_TABLE_${language}}" "${key}")
        string(REPLACE "&" "&amp;" text "${text}")
        string(REPLACE "<" "&lt;" text "${text}")
        string(REPLACE "zh-Hans" "zh_CN" locale ${language})
        if(language STREQUAL "en")
            string(APPEND lines "<${element}>${text}</${element}>")
        else()
            string(APPEND lines "\n<${element} xml:lang=\"${locale}\">${text}</${element}>")
        endif()
    endforeach()
    set(${variable} "${lines}" PARENT_SCOPE)
endfunction()
