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

    STDMETHODIMP OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags, LPUNKNOWN *object) override
    {
        Call call(*this, "OpenProperty", {Tag(tag), Interface(iid), Hex(options), Hex(flags)});
        if (call.Proceed() && (flags & MAPI_CREATE) && !m_props->streams.count(tag))
            m_props->streams[tag] = std::make_shared<StreamData>();
        return GiveProperty(call, *m_props, tag, iid, object);
    }
    STDMETHODIMP SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray *problems) override
    {
        Call call(*this, "SetProps", {Properties(count, values), problems ? "out" : "NULL"});
        return TakeProps(call, *m_props, count, values);
    }
    STDMETHODIMP SaveChanges(ULONG flags) override
    {
        Call call(*this, "SaveChanges", {Hex(flags)});
        return TakeChanges(call, *m_props);
    }

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
    STDMETHODIMP CreateAttach(LPCIID iid, ULONG flags, ULONG *number, LPATTACH *attach) override
    {
        Call call(*this, "CreateAttach", {Interface(iid), Hex(flags)});
        return call.Give(attach, [&] {
            AttachData &made = TheWorld().AddAttachment(*m_data, {}, "");
            made.streams.clear();
            *number = made.number;
            return NewAttach(m_data->attachments.back());
        });
    }
    STDMETHODIMP SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray *problems) override
    {
        Call call(*this, "SetProps", {Properties(count, values), problems ? "out" : "NULL"});
        return TakeProps(call, *m_data, count, values);
    }
    STDMETHODIMP SaveChanges(ULONG flags) override
    {
        Call call(*this, "SaveChanges", {Hex(flags)});
        return TakeChanges(call, *m_data);
    }
    STDMETHODIMP CopyTo(ULONG interfaces, LPCIID excluded, LPSPropTagArray tags, ULONG ui, LPMAPIPROGRESS progress,
                        LPCIID iid, LPVOID target, ULONG flags, LPSPropProblemArray *problems) override
    {
        Call call(*this, "CopyTo",
                  {Number(interfaces), excluded ? "IIDs" : "NULL", Tags(tags), Hex(ui), ObjectName(progress),
                   Interface(iid), ObjectName(target), Hex(flags), problems ? "out" : "NULL"});
        auto *copy = dynamic_cast<FakeMessage *>(ObjectAt(target));
        if (!call.Proceed() || !copy)
            return call.Return(E_FAIL);
        for (const Value &value : m_data->props) {
            bool wanted = value.tag != PR_ENTRYID && value.tag != PR_PARENT_ENTRYID;
            for (ULONG i = 0; tags && i < tags->cValues; ++i)
                wanted = wanted && tags->aulPropTag[i] != value.tag;
            if (wanted)
                Set(copy->m_data->props, value);
        }
        copy->m_data->attachments = m_data->attachments;
        copy->m_data->recipients = m_data->recipients;
        return call.Return(S_OK);
    }
    STDMETHODIMP ModifyRecipients(ULONG flags, LPADRLIST list) override
    {
        Call call(*this, "ModifyRecipients", {Hex(flags), AddressList(list)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        m_data->recipients.clear();
        for (ULONG i = 0; list && i < list->cEntries; ++i) {
            m_data->recipients.emplace_back();
            for (ULONG value = 0; value < list->aEntries[i].cValues; ++value)
                m_data->recipients.back().push_back(Taken(list->aEntries[i].rgPropVals[value]));
        }
        return call.Return(S_OK);
    }
    STDMETHODIMP SubmitMessage(ULONG flags) override
    {
        Call call(*this, "SubmitMessage", {Hex(flags)});
        if (!call.Proceed())
            return call.Return(E_FAIL);
        if (m_data->recipients.empty())
            return call.Return(MAPI_E_NO_RECIPIENTS);
        m_data->submitted = true;
        return call.Return(S_OK);
    }
    NOT_CALLED(DeleteAttach, (ULONG, ULONG, LPMAPIPROGRESS, ULONG))
    NOT_CALLED(GetRecipientTable, (ULONG, LPMAPITABLE *))

  protected:
    bool IsOwnInterface(REFIID riid) const override { return riid == IID_IMessage || riid == IID_IMAPIProp; }

  private:
    std::shared_ptr<MessageData> m_data;
};

} // namespace

IMessage *NewMessage(std::shared_ptr<MessageData> data)
{
    return new FakeMessage(std::move(data));
}

IAttach *NewAttach(std::shared_ptr<AttachData> data)
{
    return new FakeAttach(std::move(data));
}

IUnknown *MessageData::Open()
{
    return new FakeMessage(std::static_pointer_cast<MessageData>(TheWorld().entries.at(entryId)));
}

} // namespace mapi_double
