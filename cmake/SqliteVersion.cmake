# require_sound_sqlite(VERSION): ends the configuration for a SQLite that loses commits where several processes write one
# log back (https://www.sqlite.org/wal.html#walresetbug). localmapi/storage/SqliteVersion.h says the same of the library
# that a program finds when it runs.
function(require_sound_sqlite version)
    if(version VERSION_GREATER_EQUAL 3.51.3
            OR (version VERSION_GREATER_EQUAL 3.50.7 AND version VERSION_LESS 3.51)
            OR (version VERSION_GREATER_EQUAL 3.44.6 AND version VERSION_LESS 3.45))
        return()
    endif()
    message(FATAL_ERROR "SQLite ${version} loses commits where several processes use one file: 3.51.3, 3.50.7 or 3.44.6 is wanted "
        "(https://www.sqlite.org/wal.html#walresetbug)")
endfunction()

# The version that a sqlite3.h is of.
function(sqlite_version header out)
    file(STRINGS ${header} line REGEX "^#define SQLITE_VERSION +\"")
    string(REGEX MATCH "[0-9]+[.][0-9.]+" version "${line}")
    set(${out} ${version} PARENT_SCOPE)
endfunction()
