// Messages and their attachments.
#include "support/Memory.h"
#include "support/World.h"

namespace mapi_double
{

namespace
{

class FakeAttach : public PropObject<IAttach>
{
  public:
    explicit FakeAttach(std::shared_ptr<AttachData> data) : PropObject("Attach", std::move(data)) {}

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IAttachment || riid == IID_IMAPIProp; }
};

class FakeMessage : public PropObject<IMessage>
{
  public:
    explicit FakeMessage(std::shared_ptr<MessageData> data) : PropObject("Message", data), m_data(std::move(data)) {}

    STDMETHODIMP GetAttachmentTable(ULONG flags, LPMAPITABLE *table) override
    {
        Call call(*this, "GetAttachmentTable", {Hex(flags)});
        return call.Give(table, [&] {
            auto rows = m_data->attachmentTable;
            if (!rows) {
                rows = std::make_shared<TableData>(m_data->name + " attachments");
                for (const auto &attachment : m_data->attachments)
                    rows->rows.push_back(attachment->props);
            }
            return NewTable(rows);
        });
    }
    STDMETHODIMP OpenAttach(ULONG number, LPCIID iid, ULONG flags, LPATTACH *attach) override
    {
        Call call(*this, "OpenAttach", {Number(number), Interface(iid), Hex(flags)});
        for (const auto &attachment : m_data->attachments)
            if (attachment->number == number)
                return call.Give(attach, [&] { return NewAttach(attachment); });
        return call.Return(MAPI_E_NOT_FOUND);
    }
    STDMETHODIMP SetReadFlag(ULONG flags) override
    {
        Call call(*this, "SetReadFlag", {Hex(flags)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        const Value *old = Find(m_data->props, PR_MESSAGE_FLAGS);
        const LONGLONG kept = (old ? old->number : 0) & ~LONGLONG{MSGFLAG_READ};
        Set(m_data->props, Long(PR_MESSAGE_FLAGS, kept | (flags & CLEAR_READ_FLAG ? 0 : MSGFLAG_READ)));
        return call.Return(S_OK);
    }
    NOT_CALLED(CreateAttach, (LPCIID, ULONG, ULONG *, LPATTACH *))
    NOT_CALLED(DeleteAttach, (ULONG, ULONG, LPMAPIPROGRESS, ULONG))
    NOT_CALLED(GetRecipientTable, (ULONG, LPMAPITABLE *))
    NOT_CALLED(ModifyRecipients, (ULONG, LPADRLIST))
    NOT_CALLED(SubmitMessage, (ULONG))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IMessage || riid == IID_IMAPIProp; }

  private:
    std::shared_ptr<MessageData> m_data;
};

} // namespace

IAttach *NewAttach(std::shared_ptr<AttachData> data)
{
    return new FakeAttach(std::move(data));
}

IUnknown *MessageData::Open()
{
    return new FakeMessage(std::static_pointer_cast<MessageData>(TheWorld().entries.at(entryId)));
}

} // namespace mapi_double
