// A module beside the library that has a codec's name and not its entry point.
#if defined(_WIN32)
extern "C" __declspec(dllexport) int SomethingElse();
#else
extern "C" __attribute__((visibility("default"))) int SomethingElse();
#endif
int SomethingElse()
{
    return 1;
}
