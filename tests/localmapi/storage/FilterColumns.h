// The columns that filters are tried on, one of each type.
#pragma once
#include "Fixture.h"

namespace localmapi::storage
{

using M = Filter::Match;
inline constexpr Tag kNumber = MakeTag(0x6001, Type::Int32), kOther = MakeTag(0x6002, Type::Int32);
inline constexpr Tag kData = MakeTag(0x6003, Type::Binary), kNote = MakeTag(0x6004, Type::Text);
inline constexpr Tag kReal = MakeTag(0x6005, Type::Double), kNumbers = MakeTag(0x6006, Type::Int32) | kMultiple;
inline constexpr Tag kShort = MakeTag(0x6007, Type::Int16), kUid = MakeTag(0x6008, Type::Uid);
inline constexpr Tag kWhen = MakeTag(0x6009, Type::Time), kBlobs = MakeTag(0x600A, Type::Binary) | kMultiple;
inline constexpr Relation kRelations[] = {Relation::Less,           Relation::LessOrEqual, Relation::Greater,
                                          Relation::GreaterOrEqual, Relation::Equal,       Relation::NotEqual};

} // namespace localmapi::storage
