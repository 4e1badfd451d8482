// The process's environment, in UTF-8.
#pragma once
#include <string>

namespace localmapi::test
{

// An empty value removes the variable.
void SetVariable(const char *name, const std::string &value);
std::string Variable(const char *name);

// Sets a variable for a scope.
class ScopedVariable
{
  public:
    ScopedVariable(const char *name, const std::string &value) : m_name(name), m_before(Variable(name))
    {
        SetVariable(name, value);
    }
    ScopedVariable(const ScopedVariable &) = delete;
    ScopedVariable &operator=(const ScopedVariable &) = delete;
    ~ScopedVariable() { SetVariable(m_name, m_before); }

  private:
    const char *m_name;
    std::string m_before;
};

} // namespace localmapi::test
