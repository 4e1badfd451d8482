// How a file that an attachment refers to is opened.
#pragma once
#include <objbase.h>
#include <windows.h>

// Wraps a file as a storage with the stream "CONTENTS", unchanged: StgCreateDocfile, unless a host whose OLE has no
// STGM_CONVERT has put something else in its place before the first session.
using OpenReferencedFile = decltype(&StgCreateDocfile);
extern OpenReferencedFile g_pfnOpenReferencedFile;
