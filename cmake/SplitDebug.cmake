# Run as a script after FILE is linked: its debug data go into a file of their own beside it, FILE.debug, which it names. What
# has been split is left as it is. The tools write their own time into files of Windows, unless they are told another one.
set(ENV{SOURCE_DATE_EPOCH} 0)
execute_process(COMMAND ${OBJDUMP} -h ${FILE} OUTPUT_VARIABLE sections COMMAND_ERROR_IS_FATAL ANY)
if(sections MATCHES "gnu_debuglink")
    return()
endif()
execute_process(COMMAND ${OBJCOPY} --only-keep-debug ${FILE} ${FILE}.debug COMMAND_ERROR_IS_FATAL ANY)
file(CHMOD ${FILE}.debug PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
execute_process(COMMAND ${STRIP} ${STRIP_OPTION} ${FILE} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${OBJCOPY} --add-gnu-debuglink=${FILE}.debug ${FILE} COMMAND_ERROR_IS_FATAL ANY)
