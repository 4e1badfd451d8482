# The DLL is one of its width, with relocations and a version resource.
set(x86 "pei-i386" "i386" "Magic[ \t]+010b")
set(x64 "pei-x86-64" "x86-64" "Magic[ \t]+020b")
execute_process(COMMAND ${OBJDUMP} -f -p ${DLL} OUTPUT_VARIABLE dump COMMAND_ERROR_IS_FATAL ANY)
foreach(wanted ${${WIDTH}} "[^a-z]DLL" "Base Relocation Directory" "Resource Directory \\[.rsrc\\]"
        "ID: 0x000010")
    if(NOT dump MATCHES "${wanted}")
        message(FATAL_ERROR "${DLL} lacks ${wanted}")
    endif()
endforeach()
file(READ ${DLL} bytes HEX)
# "ProductName" in UTF-16 stands in the version resource.
if(NOT bytes MATCHES "500072006f0064007500630074004e0061006d006500")
    message(FATAL_ERROR "${DLL} has no version resource with a product name")
endif()
