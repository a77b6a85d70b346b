# Turns CHANGELOG.md into a change log in Debian's format:
#
#   cmake -DCHANGELOG=CHANGELOG.md -DOUTPUT=changelog -DPACKAGE=btconf
#         -DVERSION=3.01 -DMAINTAINER="Name <address>" [-DMETAINFO=FILE]
#         -P DebianChangelog.cmake
#
# CHANGELOG.md holds one entry per version, newest first: a heading
# "## VERSION (YYYY-MM-DD)", then items that start with "- " and go on in
# lines that start with two spaces. Each entry becomes
#
#   PACKAGE (VERSION) unstable; urgency=medium
#
#     * item
#       its next line
#
#    -- MAINTAINER  Www, DD Mmm YYYY 00:00:00 +0000
#
# The time of day is always midnight UTC, so that the same CHANGELOG.md makes
# the same bytes at every build. Fails, naming the line, on anything else in
# an entry, on a line that would be longer than 80 characters, when the newest
# entry is not VERSION, and when METAINFO's newest release is not the newest
# entry's version and date.
cmake_minimum_required(VERSION 3.21)

foreach(var CHANGELOG OUTPUT PACKAGE VERSION MAINTAINER)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "DebianChangelog.cmake: -D${var}=... is missing")
    endif()
endforeach()

# Www for a date, by Sakamoto's method (0 is a Sunday).
function(weekday year month day out)
    set(offsets 0 3 2 5 0 3 5 1 4 6 2 4)
    math(EXPR index "${month} - 1")
    list(GET offsets ${index} offset)
    if(month LESS 3)
        math(EXPR year "${year} - 1")
    endif()
    math(EXPR n "(${year} + ${year} / 4 - ${year} / 100 + ${year} / 400 + ${offset} + ${day}) % 7")
    set(names Sun Mon Tue Wed Thu Fri Sat)
    list(GET names ${n} name)
    set(${out} ${name} PARENT_SCOPE)
endfunction()

function(fail number text)
    message(FATAL_ERROR "${CHANGELOG}:${number}: ${text}")
endfunction()

# The file as a list of lines. Semicolons and square brackets would be taken
# for list syntax, so they travel as stand-ins until the lines are written.
file(READ "${CHANGELOG}" text)
string(REPLACE "\r" "" text "${text}")
string(REPLACE ";" "@SEMICOLON@" text "${text}")
string(REPLACE "[" "@OPEN@" text "${text}")
string(REPLACE "]" "@CLOSE@" text "${text}")
string(REPLACE "\n" ";" lines "${text}")

set(months Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec)
set(out "")
set(entry "")        # the version of the entry being read, empty before the first
set(items 0)         # its items so far
set(versions "")
set(number 0)
set(newest_version "")
set(newest_date "")

macro(close_entry)
    if(NOT entry STREQUAL "")
        if(items EQUAL 0)
            fail(${heading_line} "the entry for ${entry} has no item")
        endif()
        string(APPEND out "\n -- ${MAINTAINER}  ${footer_date}\n")
    endif()
endmacro()

foreach(line IN LISTS lines)
    math(EXPR number "${number} + 1")
    if(line MATCHES "^## ")
        close_entry()
        if(NOT line MATCHES "^## ([0-9][0-9A-Za-z.+~]*) \\(([0-9][0-9][0-9][0-9])-([0-9][0-9])-([0-9][0-9])\\)$")
            fail(${number} "a heading is \"## VERSION (YYYY-MM-DD)\", not \"${line}\"")
        endif()
        set(entry "${CMAKE_MATCH_1}")
        set(year "${CMAKE_MATCH_2}")
        set(month "${CMAKE_MATCH_3}")
        set(day "${CMAKE_MATCH_4}")
        if(entry IN_LIST versions)
            fail(${number} "a second entry for ${entry}")
        endif()
        list(APPEND versions "${entry}")
        math(EXPR month_number "${month}")
        math(EXPR day_number "${day}")
        if(month_number LESS 1 OR month_number GREATER 12 OR day_number LESS 1
           OR day_number GREATER 31)
            fail(${number} "no such date: ${year}-${month}-${day}")
        endif()
        if(newest_version STREQUAL "")
            set(newest_version "${entry}")
            set(newest_date "${year}-${month}-${day}")
        endif()
        weekday(${year} ${month_number} ${day_number} name)
        math(EXPR index "${month_number} - 1")
        list(GET months ${index} month_name)
        set(footer_date "${name}, ${day} ${month_name} ${year} 00:00:00 +0000")
        if(NOT out STREQUAL "")
            string(APPEND out "\n")
        endif()
        string(APPEND out "${PACKAGE} (${entry}) unstable@SEMICOLON@ urgency=medium\n\n")
        set(items 0)
        set(heading_line ${number})
        continue()
    endif()
    if(entry STREQUAL "" OR line STREQUAL "")
        continue() # the introduction, and blank lines
    endif()
    if(line MATCHES "^- (.+)$")
        set(debian "  * ${CMAKE_MATCH_1}")
        math(EXPR items "${items} + 1")
    elseif(line MATCHES "^  ([^ ].*)$" AND items GREATER 0)
        set(debian "    ${CMAKE_MATCH_1}")
    else()
        fail(${number} "an item starts with \"- \" and goes on in lines that start with two spaces")
    endif()
    set(length_text "${debian}")
    string(REPLACE "@SEMICOLON@" ";" length_text "${length_text}")
    string(REPLACE "@OPEN@" "[" length_text "${length_text}")
    string(REPLACE "@CLOSE@" "]" length_text "${length_text}")
    string(LENGTH "${length_text}" length)
    if(length GREATER 80)
        fail(${number} "the line is too long for Debian's change log (at most 76 characters here)")
    endif()
    string(APPEND out "${debian}\n")
endforeach()
close_entry()

if(newest_version STREQUAL "")
    message(FATAL_ERROR "${CHANGELOG}: no entry (\"## VERSION (YYYY-MM-DD)\")")
endif()
if(NOT newest_version STREQUAL VERSION)
    message(FATAL_ERROR "${CHANGELOG}: the newest entry is ${newest_version}, the project is "
                        "${VERSION}: add an entry for ${VERSION}")
endif()
if(DEFINED METAINFO)
    file(READ "${METAINFO}" metainfo)
    if(NOT metainfo MATCHES "<release version=\"([^\"]*)\" date=\"([^\"]*)\"")
        message(FATAL_ERROR "${METAINFO}: no <release version=\"...\" date=\"...\">")
    endif()
    if(NOT CMAKE_MATCH_1 STREQUAL newest_version OR NOT CMAKE_MATCH_2 STREQUAL newest_date)
        message(FATAL_ERROR "${METAINFO}: the newest release is ${CMAKE_MATCH_1} of "
                            "${CMAKE_MATCH_2}, ${CHANGELOG}'s newest entry ${newest_version} of "
                            "${newest_date}")
    endif()
endif()

string(REPLACE "@SEMICOLON@" ";" out "${out}")
string(REPLACE "@OPEN@" "[" out "${out}")
string(REPLACE "@CLOSE@" "]" out "${out}")
file(WRITE "${OUTPUT}.new" "${out}")
file(RENAME "${OUTPUT}.new" "${OUTPUT}")
