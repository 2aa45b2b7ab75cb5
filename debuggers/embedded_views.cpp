// Puts the views for GDB into the library, from where it takes them if it trusts the folder (`auto-load
// safe-path`). The first byte says that the text of a Python script follows; the first line is its name.
asm(".pushsection .debug_gdb_scripts, \"S\", %progbits\n"
    ".byte 4\n"
    ".ascii \"tarnkit_gdb.py\\n\"\n"
    ".incbin \"" TARNKIT_GDB_VIEWS "\"\n"
    ".byte 0\n"
    ".popsection");
