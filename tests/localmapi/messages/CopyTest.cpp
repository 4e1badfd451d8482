// Proves CopyTo and CopyProps: what is copied and what is not, exclusions, recipients and attachments with it, what is
// replaced, what a copy is before its own save, and what can't be copied.
#include "Letters.h"

#include <mapiguid.h>

namespace localmapi::test
{

namespace
{

constexpr ULONG kOwn = PROP_TAG(PT_LONG, 0x6A10);
constexpr ULONG kList = PROP_TAG(PT_MV_LONG, 0x6A11);

// The tags left out or taken, as the calls take them.
class CopyTest : public WithLetters
{
  protected:
    HRESULT CopyTo(IMAPIProp *from, void *to, std::initializer_list<ULONG> without = {}, ULONG flags = 0,
                   const IID &iid = IID_IMessage, SPropProblemArray **problems = nullptr)
    {
        return from->CopyTo(0, nullptr, without.size() ? static_cast<SPropTagArray *>(Tags(without)) : nullptr, 0,
                            nullptr, &iid, to, flags, problems);
    }
    HRESULT CopyProps(IMAPIProp *from, void *to, std::initializer_list<ULONG> tags, ULONG flags = 0,
                      SPropProblemArray **problems = nullptr)
    {
        return from->CopyProps(Tags(tags), 0, nullptr, &IID_IMessage, to, flags, problems);
    }
    // A message with something of everything.
    ComPtr<IMessage> Source()
    {
        m_longs = {1, -2, 3};
        auto message = LetterTo({Bob(), ByName("vm", MAPI_CC)},
                                {Narrow(PR_SUBJECT_A, "RE: source"), Narrow(PR_BODY_A, m_body.c_str()),
                                 Narrow(PR_MESSAGE_CLASS_A, "IPM.Note.Microsoft.Voicemail.UM"), Long(kOwn, 7),
                                 Longs(kList, m_longs), Long(PR_IMPORTANCE, IMPORTANCE_HIGH)});
        Attach(message.get(), "short.txt", "short");
        Attach(message.get(), "message.wav", m_recording);
        ComPtr<IAttach> attachment;
        ULONG number = 0;
        EXPECT_CODE(message->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
        EXPECT_CODE(SetProps(attachment.get(), {Long(PR_ATTACH_METHOD, ATTACH_EMBEDDED_MSG)}), S_OK);
        auto inner = EmbeddedIn(attachment.get(), MAPI_CREATE | MAPI_MODIFY);
        EXPECT_CODE(SetProps(inner.get(), {Narrow(PR_SUBJECT_A, "within")}), S_OK);
        EXPECT_CODE(Address(inner.get(), {Alice()}), S_OK);
        Attach(inner.get(), "deep.txt", "deep");
        EXPECT_CODE(inner->SaveChanges(0), S_OK);
        EXPECT_CODE(attachment->SaveChanges(0), S_OK);
        return message;
    }
    void ExpectCopy(IMessage *copy)
    {
        EXPECT_EQ(TextOf(copy, PR_SUBJECT_A), "RE: source");
        EXPECT_EQ(TextOf(copy, PR_NORMALIZED_SUBJECT_A), "source");
        EXPECT_EQ(ReadProperty(copy, PR_BODY_A), m_body + '\0');
        EXPECT_EQ(TextOf(copy, PR_MESSAGE_CLASS_A), "IPM.Note.Microsoft.Voicemail.UM");
        EXPECT_EQ(LongOf(copy, kOwn), 7);
        EXPECT_EQ(LongOf(copy, PR_IMPORTANCE), LONG{IMPORTANCE_HIGH});
        const Given given = GetProps(*copy, {kList});
        ASSERT_TRUE(given.Find(kList));
        EXPECT_EQ(std::vector<LONG>(given[0].Value.MVl.lpl, given[0].Value.MVl.lpl + given[0].Value.MVl.cValues),
                  m_longs);
        EXPECT_EQ(RecipientsOf(copy), "(none)/1, vm/2");
        EXPECT_EQ(ReadProperty(AttachmentOf(copy, 0).get(), PR_ATTACH_DATA_BIN), "short");
        EXPECT_EQ(TextOf(AttachmentOf(copy, 1).get(), PR_ATTACH_LONG_FILENAME_A), "message.wav");
        EXPECT_EQ(ReadProperty(AttachmentOf(copy, 1).get(), PR_ATTACH_DATA_BIN), m_recording);
        auto inner = EmbeddedIn(AttachmentOf(copy, 2).get());
        EXPECT_EQ(TextOf(inner.get(), PR_SUBJECT_A), "within");
        EXPECT_EQ(RecipientsOf(inner.get()), "(none)/1");
        EXPECT_EQ(AttachmentsOf(inner.get()), "deep.txt=deep");
    }
    ComPtr<IMessage> Empty() { return m_mailbox.NewMessage(); }

    const std::string m_body = std::string(50000, 'b'); // longer than GetProps gives
    const std::string m_recording = std::string(300000, 'w');
    std::vector<LONG> m_longs;
};

TEST_F(CopyTest, AMessageIsCopiedWithAllThatItHolds)
{
    for (const bool saved : {false, true}) {
        SCOPED_TRACE(saved ? "from a saved message" : "from a new message");
        auto source = Source();
        if (saved) {
            ASSERT_CODE(source->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        }
        auto copy = Empty();
        Block<SPropProblemArray> problems;
        ASSERT_CODE(CopyTo(source.get(), copy.get(), {}, 0, IID_IMessage, problems.put()), S_OK);
        EXPECT_FALSE(problems);
        ExpectCopy(copy.get());
        EXPECT_EQ(BytesOf(copy.get(), PR_SEARCH_KEY), BytesOf(source.get(), PR_SEARCH_KEY)) << "it is a copy";
        const EntryIdBytes id = m_mailbox.Save(copy);
        copy.reset();
        if (saved) {
            EXPECT_NE(id, BytesOf(source.get(), PR_ENTRYID));
        }
        ExpectCopy(m_mailbox.Open(id).get());
    }
}

TEST_F(CopyTest, NothingOfACopyIsThereBeforeItsOwnSave)
{
    auto source = Source();
    const auto changes = m_mailbox.GetSite().GetChangeNumber();
    {
        auto copy = Empty();
        ASSERT_CODE(CopyTo(source.get(), copy.get()), S_OK);
    }
    EXPECT_EQ(m_mailbox.GetSite().GetChangeNumber(), changes);
    EXPECT_EQ(CountIn(m_mailbox.Inbox()), 0u);
}

TEST_F(CopyTest, ACopyOutlivesItsSource)
{
    auto source = Source();
    ASSERT_CODE(source->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    auto copy = Empty();
    ASSERT_CODE(CopyTo(source.get(), copy.get()), S_OK);
    source.reset();
    const auto ids = MessagesIn(m_outbox.get());
    ASSERT_CODE(m_outbox->DeleteMessages(EntryList(ids), 0, nullptr, 0), S_OK);
    const EntryIdBytes id = m_mailbox.Save(copy);
    copy.reset();
    ExpectCopy(m_mailbox.Open(id).get());
}

TEST_F(CopyTest, WhatIsExcludedIsLeftOutWhicheverTypeItsTagHas)
{
    auto source = Source();
    auto copy = Empty();
    ASSERT_CODE(CopyTo(source.get(), copy.get(),
                       {PR_BODY_A, PROP_TAG(PT_UNSPECIFIED, PROP_ID(kOwn)), PR_MESSAGE_RECIPIENTS,
                        PROP_TAG(PT_STRING8, PROP_ID(kList)), PR_MESSAGE_CLASS_A, PROP_TAG(PT_LONG, 0x6AFF)}),
                S_OK);
    EXPECT_EQ(TextOf(copy.get(), PR_SUBJECT_A), "RE: source");
    EXPECT_EQ(TextOf(copy.get(), PR_BODY_A), "(none)");
    EXPECT_EQ(LongOf(copy.get(), kOwn), -1);
    EXPECT_EQ(GetProps(*copy.get(), {kList}).Error(PROP_ID(kList)), MAPI_E_NOT_FOUND);
    EXPECT_EQ(TextOf(copy.get(), PR_MESSAGE_CLASS_A), "IPM.Note") << "what it had stays";
    EXPECT_EQ(RecipientsOf(copy.get()), "");
    EXPECT_EQ(ReadProperty(AttachmentOf(copy.get(), 0).get(), PR_ATTACH_DATA_BIN), "short");
    auto bare = Empty();
    ASSERT_CODE(CopyTo(source.get(), bare.get(), {PR_MESSAGE_ATTACHMENTS}), S_OK);
    EXPECT_EQ(AttachmentsOf(bare.get()), "");
    EXPECT_EQ(RecipientsOf(bare.get()), "(none)/1, vm/2");
}

// As an answer is begun: all of a message that arrived, but for what concerned its way.
TEST_F(CopyTest, AMessageThatArrivedBecomesADraftAgain)
{
    auto letter = Source();
    ASSERT_CODE(letter->SubmitMessage(0), S_OK);
    auto arrived = MessageIn(m_bobsInbox.get());
    ComPtr<IMAPIFolder> outbox = m_mailbox.Folder(PR_IPM_OUTBOX_ENTRYID, m_bobsStore.get());
    ComPtr<IMessage> answer;
    ASSERT_CODE(outbox->CreateMessage(nullptr, 0, answer.put()), S_OK);
    ASSERT_CODE(CopyTo(arrived.get(), answer.get(),
                       {PR_CLIENT_SUBMIT_TIME, PR_MESSAGE_DELIVERY_TIME, PR_MESSAGE_FLAGS, PR_SENDER_NAME_A,
                        PR_SENDER_EMAIL_ADDRESS_A, PR_SENT_REPRESENTING_NAME_A, PR_SENT_REPRESENTING_ENTRYID,
                        PR_SENT_REPRESENTING_EMAIL_ADDRESS_A, PR_SUBJECT_PREFIX_A}),
                S_OK);
    EXPECT_EQ(LongOf(answer.get(), PR_MESSAGE_FLAGS) & MSGFLAG_UNSENT, LONG{MSGFLAG_UNSENT});
    EXPECT_EQ(TextOf(answer.get(), PR_SENDER_NAME_A), "(none)");
    EXPECT_EQ(TextOf(answer.get(), PR_SUBJECT_A), "RE: source");
    ASSERT_CODE(Address(answer.get(), {Alice()}), S_OK);
    ASSERT_CODE(answer->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    ASSERT_CODE(answer->SubmitMessage(0), S_OK);
    auto back = MessageIn(m_mailbox.Inbox());
    EXPECT_EQ(TextOf(back.get(), PR_SENDER_NAME_A), "Bob Baker");
    EXPECT_EQ(ReadProperty(AttachmentOf(back.get(), 1).get(), PR_ATTACH_DATA_BIN), m_recording);
}

TEST_F(CopyTest, FlagsGoAlongToAMessageThatIsNotSavedYet)
{
    auto source = m_mailbox.Open(m_mailbox.Add({Long(PR_MESSAGE_FLAGS, 0)}));
    auto copy = Empty();
    ASSERT_CODE(CopyTo(source.get(), copy.get()), S_OK);
    EXPECT_EQ(LongOf(copy.get(), PR_MESSAGE_FLAGS), 0);
}

TEST_F(CopyTest, WhatTheTargetHasIsReplacedUnlessThatIsNotWanted)
{
    auto source = Source();
    const auto target = [&] {
        auto message = Empty();
        EXPECT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, "target"), Long(PROP_TAG(PT_LONG, 0x6A12), 5)}),
                    S_OK);
        EXPECT_CODE(Address(message.get(), {ByName("old")}), S_OK);
        Attach(message.get(), "old.txt", "old");
        return message;
    };
    auto replaced = target();
    ASSERT_CODE(CopyTo(source.get(), replaced.get()), S_OK);
    EXPECT_EQ(TextOf(replaced.get(), PR_SUBJECT_A), "RE: source");
    EXPECT_EQ(LongOf(replaced.get(), PROP_TAG(PT_LONG, 0x6A12)), 5) << "what the source lacks stays";
    EXPECT_EQ(RecipientsOf(replaced.get()), "(none)/1, vm/2");
    EXPECT_EQ(AttachmentsOf(replaced.get()).substr(0, 15), "short.txt=short");
    auto kept = target();
    ASSERT_CODE(CopyTo(source.get(), kept.get(), {}, MAPI_NOREPLACE), S_OK);
    EXPECT_EQ(TextOf(kept.get(), PR_SUBJECT_A), "target");
    EXPECT_EQ(LongOf(kept.get(), kOwn), 7) << "what the target lacks is copied";
    EXPECT_EQ(RecipientsOf(kept.get()), "old/1");
    EXPECT_EQ(AttachmentsOf(kept.get()), "old.txt=old");
}

TEST_F(CopyTest, CopyPropsTakesWhatIsNamedAndTellsWhatIsNotThere)
{
    auto source = Source();
    auto copy = Empty();
    Block<SPropProblemArray> problems;
    ASSERT_CODE(CopyProps(source.get(), copy.get(), {PR_BODY_A, PR_TITLE_A, kOwn, PR_MESSAGE_SIZE}, 0, problems.put()),
                S_OK);
    EXPECT_EQ(ReadProperty(copy.get(), PR_BODY_A), m_body + '\0');
    EXPECT_EQ(LongOf(copy.get(), kOwn), 7);
    EXPECT_EQ(TextOf(copy.get(), PR_SUBJECT_A), "(none)");
    EXPECT_EQ(RecipientsOf(copy.get()), "");
    EXPECT_EQ(AttachmentsOf(copy.get()), "");
    ASSERT_TRUE(problems);
    ASSERT_EQ(problems->cProblem, 2u);
    EXPECT_EQ(problems->aProblem[0].ulIndex, 1u);
    EXPECT_EQ(problems->aProblem[0].ulPropTag, PR_TITLE_A);
    EXPECT_CODE(problems->aProblem[0].scode, MAPI_E_NOT_FOUND);
    EXPECT_EQ(problems->aProblem[1].ulPropTag, PR_MESSAGE_SIZE)
        << "what a message has of itself is no property to copy";
    ASSERT_CODE(CopyProps(source.get(), copy.get(), {PR_MESSAGE_RECIPIENTS, PR_MESSAGE_ATTACHMENTS}, 0, problems.put()),
                S_OK);
    EXPECT_FALSE(problems);
    EXPECT_EQ(RecipientsOf(copy.get()), "(none)/1, vm/2");
    EXPECT_EQ(ReadProperty(AttachmentOf(copy.get(), 1).get(), PR_ATTACH_DATA_BIN), m_recording);
}

TEST_F(CopyTest, NamedPropertiesHaveTheirNamesInAnotherSiteToo)
{
    Mailbox other(Mailbox::Of::AnotherSite);
    auto target = other.NewMessage(), bare = other.NewMessage(), source = Empty();
    const auto tag = [](const ComPtr<IMessage> &message, const WCHAR *text, ULONG type, ULONG flags = 0) -> ULONG {
        GUID set = PS_PUBLIC_STRINGS;
        MAPINAMEID name{}, *names = &name;
        name.lpguid = &set;
        name.ulKind = MNID_STRING;
        name.Kind.lpwstrName = const_cast<LPWSTR>(text);
        Block<SPropTagArray> tags;
        message->GetIDsFromNames(1, &names, flags, tags.put());
        return PROP_TYPE(tags->aulPropTag[0]) == PT_ERROR ? 0 : PROP_TAG(type, PROP_ID(tags->aulPropTag[0]));
    };
    const ULONG first = tag(source, OLESTR("first"), PT_LONG, MAPI_CREATE);
    const ULONG second = tag(source, OLESTR("second"), PT_LONG, MAPI_CREATE);
    const ULONG recording = tag(source, OLESTR("recording"), PT_BINARY, MAPI_CREATE);
    ASSERT_EQ(tag(target, OLESTR("second"), PT_LONG, MAPI_CREATE), first) << "the same number, of another name";
    ASSERT_CODE(SetProps(source.get(), {Long(first, 1), Long(second, 2), Long(kOwn, 3)}), S_OK);
    ComPtr<IStream> stream;
    ASSERT_CODE(OpenStream(source.get(), recording, MAPI_CREATE | MAPI_MODIFY, stream), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), m_recording), S_OK);
    ASSERT_CODE(stream->Commit(0), S_OK);

    Block<SPropProblemArray> problems;
    ASSERT_CODE(CopyTo(source.get(), target.get(), {}, 0, IID_IMessage, problems.put()), S_OK);
    EXPECT_FALSE(problems);
    EXPECT_EQ(LongOf(target.get(), first), 2) << "which is \"second\" there";
    ASSERT_NE(tag(target, OLESTR("first"), PT_LONG), 0u);
    EXPECT_EQ(LongOf(target.get(), tag(target, OLESTR("first"), PT_LONG)), 1);
    EXPECT_EQ(ReadProperty(target.get(), tag(target, OLESTR("recording"), PT_BINARY)), m_recording);
    EXPECT_EQ(LongOf(target.get(), kOwn), 3);

    ASSERT_CODE(SetProps(bare.get(), {Long(first, 5)}), S_OK);
    ASSERT_CODE(CopyTo(source.get(), bare.get(), {first, recording}, MAPI_NOREPLACE), S_OK);
    EXPECT_EQ(LongOf(bare.get(), first), 5) << "\"second\" was there";
    EXPECT_EQ(LongOf(bare.get(), tag(bare, OLESTR("first"), PT_LONG)), -1) << "excluded, as the source numbers it";
}

TEST_F(CopyTest, ANumberWithoutANameDoesNotGoToAnotherSite)
{
    Mailbox other(Mailbox::Of::AnotherSite);
    auto target = other.NewMessage(), source = Empty();
    constexpr ULONG kNameless = PROP_TAG(PT_LONG, 0xFF00);
    ASSERT_CODE(SetProps(source.get(), {Long(kNameless, 1), Long(kOwn, 3)}), S_OK);
    Block<SPropProblemArray> problems;
    ASSERT_CODE(CopyTo(source.get(), target.get(), {}, 0, IID_IMessage, problems.put()), S_OK);
    ASSERT_TRUE(problems);
    ASSERT_EQ(problems->cProblem, 1u);
    EXPECT_EQ(PROP_ID(problems->aProblem[0].ulPropTag), PROP_ID(kNameless));
    EXPECT_CODE(problems->aProblem[0].scode, MAPI_E_NOT_FOUND);
    EXPECT_EQ(LongOf(target.get(), kNameless), -1);
    EXPECT_EQ(LongOf(target.get(), kOwn), 3);
    auto here = Empty();
    ASSERT_CODE(CopyTo(source.get(), here.get(), {}, 0, IID_IMessage, problems.put()), S_OK);
    EXPECT_FALSE(problems);
    EXPECT_EQ(LongOf(here.get(), kNameless), 1);
}

TEST_F(CopyTest, AttachmentsAreCopiedByThemselvesToo)
{
    auto source = Source();
    auto message = Empty();
    ComPtr<IAttach> target;
    ULONG number = 0;
    ASSERT_CODE(message->CreateAttach(nullptr, 0, &number, target.put()), S_OK);
    ASSERT_CODE(CopyTo(AttachmentOf(source.get(), 2, 0).get(), target.get(), {}, 0, IID_IAttachment), S_OK);
    ASSERT_CODE(target->SaveChanges(0), S_OK);
    auto inner = EmbeddedIn(AttachmentOf(message.get(), number).get());
    EXPECT_EQ(TextOf(inner.get(), PR_SUBJECT_A), "within");
    ASSERT_CODE(message->CreateAttach(nullptr, 0, &number, target.put()), S_OK);
    ASSERT_CODE(CopyTo(AttachmentOf(source.get(), 1, 0).get(), target.get(), {PR_ATTACH_DATA_BIN}, 0, IID_IAttachment),
                S_OK);
    EXPECT_EQ(TextOf(target.get(), PR_ATTACH_LONG_FILENAME_A), "message.wav");
    EXPECT_EQ(GetProps(*target.get(), {PR_ATTACH_DATA_BIN}).Error(PROP_ID(PR_ATTACH_DATA_BIN)), MAPI_E_NOT_FOUND);
}

TEST_F(CopyTest, AFolderIsCopiedWithItsMessagesAndFolders)
{
    const auto make = [](IMAPIFolder *in, std::string name) {
        ComPtr<IMAPIFolder> folder;
        EXPECT_CODE(in->CreateFolder(FOLDER_GENERIC, name.data(), nullptr, nullptr, 0, folder.put()), S_OK);
        return folder;
    };
    auto from = make(m_mailbox.Inbox(), "From"), to = make(m_mailbox.Inbox(), "To");
    auto below = make(from.get(), "Below");
    ASSERT_CODE(SetProps(from.get(), {Narrow(PR_COMMENT_A, "a comment")}), S_OK);
    const auto put = [&](IMAPIFolder *in, const char *subject, ULONG flags = 0) {
        ComPtr<IMessage> message;
        ASSERT_CODE(in->CreateMessage(nullptr, flags, message.put()), S_OK);
        ASSERT_CODE(SetProps(message.get(), {Narrow(PR_SUBJECT_A, subject)}), S_OK);
        ASSERT_CODE(message->SaveChanges(0), S_OK);
    };
    put(from.get(), "one");
    put(from.get(), "two");
    put(from.get(), "hidden", MAPI_ASSOCIATED);
    put(below.get(), "deep");
    ASSERT_CODE(CopyTo(from.get(), to.get(), {}, 0, IID_IMAPIFolder), S_OK);
    EXPECT_EQ(TextOf(to.get(), PR_DISPLAY_NAME_A), "To") << "it keeps its name";
    EXPECT_EQ(TextOf(to.get(), PR_COMMENT_A), "a comment");
    EXPECT_EQ(SubjectsIn(to.get()), "one, two");
    EXPECT_EQ(SubjectsIn(from.get()), "one, two");
    EXPECT_EQ(LongOf(to.get(), PROP_TAG(PT_LONG, 0x3617)), 1) << "the associated one";
    ComPtr<IMAPIFolder> copied;
    std::string name = "Below";
    ASSERT_CODE(to->CreateFolder(FOLDER_GENERIC, name.data(), nullptr, nullptr, OPEN_IF_EXISTS, copied.put()), S_OK);
    EXPECT_EQ(SubjectsIn(copied.get()), "deep");

    auto bare = make(m_mailbox.Inbox(), "Bare");
    ASSERT_CODE(CopyTo(from.get(), bare.get(),
                       {PR_CONTAINER_CONTENTS, PR_CONTAINER_HIERARCHY, PR_FOLDER_ASSOCIATED_CONTENTS}, 0,
                       IID_IMAPIFolder),
                S_OK);
    EXPECT_EQ(SubjectsIn(bare.get()), "");
    EXPECT_EQ(LongOf(bare.get(), PR_SUBFOLDERS), 0);
    EXPECT_CODE(CopyTo(from.get(), below.get(), {}, 0, IID_IMAPIFolder), MAPI_E_FOLDER_CYCLE);
    EXPECT_CODE(CopyTo(from.get(), from.get(), {}, 0, IID_IMAPIFolder), MAPI_E_NO_ACCESS);
}

TEST_F(CopyTest, WhatCanNotBeCopiedIsSaid)
{
    auto source = Source();
    auto copy = Empty();
    EXPECT_CODE(CopyTo(source.get(), source.get()), MAPI_E_NO_ACCESS);
    EXPECT_CODE(CopyTo(source.get(), nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(source->CopyTo(0, nullptr, nullptr, 0, nullptr, nullptr, copy.get(), 0, nullptr),
                MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(CopyTo(source.get(), copy.get(), {}, 0, IID_IMAPIFolder), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(CopyTo(source.get(), copy.get(), {}, 0x100), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_CODE(CopyTo(source.get(), copy.get(), {}, MAPI_MOVE), MAPI_E_NO_SUPPORT);
    const IID excluded[] = {IID_IMAPITable, IID_IMAPIProp};
    EXPECT_CODE(source->CopyTo(2, excluded, nullptr, 0, nullptr, &IID_IMessage, copy.get(), 0, nullptr),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(source->CopyTo(1, excluded, nullptr, 0, nullptr, &IID_IMessage, copy.get(), 0, nullptr), S_OK);
    EXPECT_CODE(source->CopyTo(1, nullptr, nullptr, 0, nullptr, &IID_IMessage, copy.get(), 0, nullptr),
                MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(source->CopyProps(nullptr, 0, nullptr, &IID_IMessage, copy.get(), 0, nullptr),
                MAPI_E_INVALID_PARAMETER);
    const EntryIdBytes id = m_mailbox.Add({Long(kOwn, 1)});
    EXPECT_CODE(CopyTo(source.get(), m_mailbox.Open(id, 0).get()), MAPI_E_NO_ACCESS) << "open for reading";
}

} // namespace

} // namespace localmapi::test
