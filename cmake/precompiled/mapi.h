// What nearly every source file over MAPI reads.
#include <windows.h>

#include <mapiutil.h>
#include <mapix.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>
