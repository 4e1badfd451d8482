#!/usr/bin/env bash
# What the analysis of locks refuses, with the settings that scripts/style runs it with: each line that is marked, in a header
# and in a source file, and no other: locks.sh PROJECT FOLDER.
set -euo pipefail
project=$1 folder=$2
rm -rf "$folder"
mkdir -p "$folder/src"
cat >"$folder/src/Account.h" <<'CODE'
#include "platform/locks/Mutex.h"

class Account
{
  public:
    void Right();
    void Wrong();
    void NotSeen();
    int Balance() const { return m_balance; } // refused

  private:
    void Book() REQUIRES(m_lock) { ++m_balance; }

    locks::Mutex m_lock;
    locks::Condition m_paid;
    int m_balance GUARDED_BY(m_lock) = 0;
};

CODE
cat >"$folder/src/Account.cpp" <<'CODE'
#include "src/Account.h"

void Account::Right()
{
    const auto act = [this]() REQUIRES(m_lock) { Book(); };
    const locks::Hold hold(m_lock);
    while (m_balance == 0)
        m_paid.Wait(m_lock);
    {
        const locks::Released released(m_lock);
    }
    Book();
    act();
}

void Account::Wrong()
{
    ++m_balance;        // refused
    Book();             // refused
    m_paid.Wait(m_lock); // refused
    const auto act = [this] {
        Book(); // refused
    };
    const locks::Hold hold(m_lock);
    const locks::Hold again(m_lock); // refused
    const locks::Released released(m_lock);
    act();
    Book(); // refused
}

// CONTRIBUTING.md says so.
void Account::NotSeen()
{
    try {
        Right();
    } catch (...) {
        Book();
    }
}

void NeverGivenBack(locks::Mutex &lock)
{
    lock.Lock();
} // refused
CODE
expected=$(cd "$folder" && grep -n '// refused' src/Account.h src/Account.cpp | cut -d: -f1,2 | sort)
found=$({ clang-tidy --quiet --config-file="$project/.clang-tidy" "$folder/src/Account.cpp" -- -std=c++20 -I"$project" \
    -I"$folder" 2>/dev/null || true; } |
    sed -n 's/^.*\(src\/[^:]*:[0-9]*\):[0-9]*: error: .*\[clang-diagnostic-thread-safety.*/\1/p' | sort -u)
if [ "$found" != "$expected" ]; then
    echo "refused: $(echo $found), to be refused: $(echo $expected)"
    exit 1
fi
rm -rf "$folder"
echo "[  PASSED  ] $(echo "$expected" | wc -l) tests."
