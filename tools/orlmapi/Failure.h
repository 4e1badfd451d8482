// How a command ends when a call fails.
#pragma once
#include <stdexcept>
#include <string>
#include <windows.h>

// What was tried, and the result that says why it failed.
class Failure : public std::runtime_error
{
  public:
    Failure(const std::string &tried, HRESULT hr);
    HRESULT Code() const { return m_hr; }

  private:
    HRESULT m_hr;
};

// "0x8004010f MAPI_E_NOT_FOUND"; the number alone where the code has no name.
std::string Describe(HRESULT hr);
// The symbolic name, empty where there is none.
std::string NameOf(HRESULT hr);

// Throws a Failure unless hr is a success.
void Check(HRESULT hr, const std::string &tried);
// The same where a success with a warning means that not all was done.
void CheckDone(HRESULT hr, const std::string &tried);
