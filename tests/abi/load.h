/* Finds an export in a library that is loaded at run time. */
typedef void (*Function)(void);
int load_library(const char *path);
void unload_library(void);
/* After that: 1 where the library is gone, within two seconds, or where it is to stay on this system and has stayed. */
int is_as_promised(const char *path);
Function by_name(const char *name);
/* The same by ordinal, where the platform has ordinals; elsewhere the one by name. */
Function by_ordinal(unsigned ordinal, const char *name);
