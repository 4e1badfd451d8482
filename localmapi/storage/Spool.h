// Long values on their way into the file.
#pragma once
#include "localmapi/storage/Stream.h"
#include <memory>

namespace localmapi::storage
{

// Data on its way into the file: short data in memory, longer data in a temporary file that vanishes with the Spool,
// and with the process however it ends. Nothing of it is in the site until an object is saved with it.
class Spool : public Stream
{
  public:
    Spool();
    ~Spool() override;
    Spool(const Spool &) = delete;
    Spool &operator=(const Spool &) = delete;

    std::uint64_t size() const override;
    std::size_t Read(std::uint64_t offset, void *into, std::size_t length) const override;
    void Write(std::uint64_t offset, const void *from, std::size_t length); // a gap before it reads as zeros
    void resize(std::uint64_t size);

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

// Copies all of `from` into an empty spool.
std::shared_ptr<Spool> SpoolOf(const Stream &from);

} // namespace localmapi::storage
