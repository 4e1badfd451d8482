// What nearly every test reads.
#include <gmock/gmock.h>
#include <windows.h>

#include <mapiutil.h>
#include <mapix.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>
