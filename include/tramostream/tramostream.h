// The whole library.
/// @mainpage The headers
///
/// `#include <tramostream/tramostream.h>` includes all of them.
///
/// - **Files by name**: tramo::Reader reads a file line by line, tramo::LineView gives the values of a line by the names of its
///   fields, with text in UTF-8 and times of std::chrono; tramo::Line changes single fields, tramo::Writer writes a file that
///   appears whole or not at all. This is the easiest way; the following is what it stands on.
/// - **Files**: iFileStream and oFileStream move one line at a time between a file and a buffer: TramoLine,
///   ParameterLine, TagLine, AMRKeyLine. They throw TramoStreamExceptions and report tolerable conditions to io::log.
/// - **Lines**: one class per record kind: RoundTramoModel, MeterSubscriberTramoModel, AMRTramoModel, MeterChangeTramoModel,
///   ExtendedAMRTramoModel, EnquiryDefinitionTramoModel, EnquiryResultTramoModel, ExtendedDataTramoModel and
///   RecordInformationTramoModel for record lines; tramo::AnyRecord selects one by the letter of the line. TagTramoModel,
///   ParameterTramoModel and AMRKeyTramoModel for the lines of other files.
/// - **Fields as data**: tramo::RecordKind, tramo::Field, tramo::get and tramo::set, for programs that name no accessor.
///   TE::FieldError reports an error in a field.
/// - **Rounds**: tramo::RoundFile holds a file as people see it: rounds of meters with their readings, alarms and answers.
/// - **Many lines**: tramo::decode reads the values of a line from its bytes, without a model. tramo::Columns holds the records
///   of a kind as columns in the layout of Apache Arrow, and tramo::arrowStream hands a file to programs that read Arrow.
///   tramo::isSurelyNormalized finds lines that a model would write unchanged.
/// - **Checks**: tramo::Checker reports what is wrong with lines and files, as tramo::Finding. tramo::LineModel is the model of
///   a line of any kind of fixed columns. wording.h describes the format in words.
/// - **Repairs**: tramo::Repair mends files that other programs damaged, where the result can be proven.
/// - **Rounds that came back**: tramo::Reconciliation compares them with what was exported.
/// - **Files for others**: tramo::Anonymizer replaces what says something about people, and tramo::AnonymizeProof proves it.
/// - **Conversions**: StrConv, the codes in TF, DateUtils, StringUtils.
/// - **Messages**: failed conversions print a message on the standard output, unless tramo::setMessages() turns that off.
///
/// These rules hold everywhere: Columns are counted from 1. Nothing throws for bad content. Models, buffers and lists are value
/// types; no function keeps a reference to its arguments. Different objects can be used by different threads at the same time;
/// one object can be used by one thread at a time. Except in reader.h, text is wide, one UTF-16 code unit in each wchar_t, dates
/// are seconds since 1970-01-01 00:00 UTC in a long32, and absent values are those of a default-constructed model.
#pragma once
#include "amrkeytramomodel.h"
#include "amrtramomodel.h"
#include "anonymize.h"
#include "anyrecord.h"
#include "check.h"
#include "codes.h"
#include "columns.h"
#include "dateutils.h"
#include "decode.h"
#include "diagnosis.h"
#include "enquirydefinitiontramomodel.h"
#include "enquiryresulttramomodel.h"
#include "exceptions.h"
#include "extendedamrtramomodel.h"
#include "extendeddatatramomodel.h"
#include "fielderror.h"
#include "fields.h"
#include "filecheck.h"
#include "ifilestream.h"
#include "keyline.h"
#include "linekind.h"
#include "linemodel.h"
#include "log.h"
#include "messages.h"
#include "meterchangetramomodel.h"
#include "metersubscribertramomodel.h"
#include "normalized.h"
#include "ofilestream.h"
#include "parametertramomodel.h"
#include "personal.h"
#include "reader.h"
#include "reconcile.h"
#include "recordinformationtramomodel.h"
#include "repair.h"
#include "round.h"
#include "roundtramomodel.h"
#include "stringconverter.h"
#include "stringutils.h"
#include "tables.h"
#include "tagtramomodel.h"
#include "tramoline.h"
#include "types.h"
#include "wording.h"
