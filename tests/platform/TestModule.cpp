// A module that module_test loads.
#if defined(_WIN32)
#define EXPORTED __declspec(dllexport)
#else
#define EXPORTED __attribute__((visibility("default")))
#endif

extern "C" EXPORTED int Answer();
extern "C" EXPORTED int Answer()
{
    return 42;
}
