// The whole library.
/// @mainpage The headers
///
/// `#include <tramostream/tramostream.h>` is all of them.
///
/// - **Files**: iFileStream and oFileStream move one line at a time between a file and a buffer: TramoLine,
///   ParameterLine, TagLine, AMRKeyLine. What they throw is in TramoStreamExceptions, what they only remark in io::log.
/// - **Lines**: a class a kind. RoundTramoModel, MeterSubscriberTramoModel, AMRTramoModel, MeterChangeTramoModel,
///   ExtendedAMRTramoModel, EnquiryDefinitionTramoModel, EnquiryResultTramoModel, ExtendedDataTramoModel and
///   RecordInformationTramoModel are about record lines; tramo::AnyRecord takes the one that the line's letter names.
///   TagTramoModel, ParameterTramoModel and AMRKeyTramoModel are about the lines of other files.
/// - **Fields as data**: tramo::RecordKind, tramo::Field, tramo::get and tramo::set, for programs that name no accessor.
///   What is wrong with a field is a TE::FieldError.
/// - **Conversions**: StrConv, the codes in TF, DateUtils, StringUtils.
/// - **Messages**: what could not be converted is printed on the standard output, unless tramo::setMessages() turns that off.
///
/// What holds everywhere: text is wide, one UTF-16 code unit in each wchar_t. Columns are counted from 1. Dates are
/// seconds since 1970-01-01 00:00 UTC in a long32. Bad content never throws, and an absent value is one that a
/// default-constructed model has. Models, buffers and lists are values that their holder owns; no operation keeps a
/// reference to its arguments. One object belongs to one thread at a time, different objects to as many as you like.
#pragma once
#include "amrkeytramomodel.h"
#include "amrtramomodel.h"
#include "anyrecord.h"
#include "codes.h"
#include "dateutils.h"
#include "enquirydefinitiontramomodel.h"
#include "enquiryresulttramomodel.h"
#include "exceptions.h"
#include "extendedamrtramomodel.h"
#include "extendeddatatramomodel.h"
#include "fielderror.h"
#include "fields.h"
#include "ifilestream.h"
#include "keyline.h"
#include "log.h"
#include "messages.h"
#include "meterchangetramomodel.h"
#include "metersubscribertramomodel.h"
#include "ofilestream.h"
#include "parametertramomodel.h"
#include "recordinformationtramomodel.h"
#include "roundtramomodel.h"
#include "stringconverter.h"
#include "stringutils.h"
#include "tagtramomodel.h"
#include "tramoline.h"
#include "types.h"
