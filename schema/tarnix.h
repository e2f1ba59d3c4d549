// clang-format off
// (The input of the generator only looks like C++.)
// The service's wire interface: types and operations, from which the build generates the serialisers,
// the skeletons and the dispatcher. Operations are dispatched in the order of the functions below.
//
// How to read a member:
//   T* x nullptr 1        nillable: written as xsi:nil when absent
//   T x 1                 always written
//   T* x 0                optional: left out when absent
//   std::vector<T> x 0    repeated: one element an item, none when empty
// On input any element may be missing: the member then keeps its default. Classes whose name begins
// with an underscore are elements, the others are types.
#import "stlvector.h"

//gsoap nsc1 service name:	Tarnix
//gsoap nsc1 service type:	TarnixPort
//gsoap nsc1 service style:	document
//gsoap nsc1 service encoding:	literal
//gsoap nsc1 schema namespace:	http://tarnix.example/TarnixWS
//gsoap nsc1 schema elementForm:	qualified
//gsoap nsc1 schema attributeForm:	unqualified

// ---- Types --------------------------------------------------------------------------------------

class nsc1__ArrayOfString {
 public:
  std::vector<std::string> string 0;
  struct soap* soap;
};

class nsc1__NodeSubscription {
 public:
  std::string* Path 0;
  int RequestedFreshness 1 = 0;  // milliseconds
  double DeadbandPercent 1 = 0;
  struct soap* soap;
};

class nsc1__ArrayOfNodeSubscription {
 public:
  std::vector<nsc1__NodeSubscription*> NodeSubscription 0;
  struct soap* soap;
};

class nsc1__RealTimeNodeSubscriptionResult {
 public:
  std::string* Value 0;
  std::string* NumericValue 0;
  unsigned short Quality 1 = 0;
  LONG64 Time 1 = 0;  // microseconds since 1970-01-01 UTC
  struct soap* soap;
};

class nsc1__ArrayOfRealTimeNodeSubscriptionResult {
 public:
  std::vector<nsc1__RealTimeNodeSubscriptionResult*> RealTimeNodeSubscriptionResult 0;
  struct soap* soap;
};

enum nsc1__AckStatus {
  nsc1__AckStatus__NotAcked = 0,
  nsc1__AckStatus__Acked = 1,
  nsc1__AckStatus__Closed = 2,
};

// A bit set, written as a blank-separated list of names.
enum * nsc1__SubscribeLogOptions {
  nsc1__SubscribeLogOptions__Trend,
  nsc1__SubscribeLogOptions__NonAlarmEvent,
  nsc1__SubscribeLogOptions__Alarm,
  nsc1__SubscribeLogOptions__Configuration,
  nsc1__SubscribeLogOptions__Quality,
};

class nsc1__AckRequest {
 public:
  ULONG64 EventId 1 = 0;
  std::string* Note 0;
  int VariationLevel 1 = 0;
  enum nsc1__AckStatus Status 1 = nsc1__AckStatus__NotAcked;
  struct soap* soap;
};

class nsc1__ArrayOfAckRequest {
 public:
  std::vector<nsc1__AckRequest*> AckRequest 0;
  struct soap* soap;
};

// ---- Reading ------------------------------------------------------------------------------------

class _nsc1__getValue {
 public:
  std::string* options nullptr 1;
  std::string* path 0;
  struct soap* soap;
};

class _nsc1__getValueResponse {
 public:
  std::string* getValueResult nullptr 1;
  struct soap* soap;
};

class _nsc1__getValues {
 public:
  std::string* options nullptr 1;
  nsc1__ArrayOfString* paths 0;
  struct soap* soap;
};

class _nsc1__getValuesResponse {
 public:
  std::vector<std::string> getValuesResult 0;
  struct soap* soap;
};

class _nsc1__getRelativeValues {
 public:
  std::string* options nullptr 1;
  std::string* basePath 0;
  std::vector<std::string> paths 0;
  struct soap* soap;
};

class _nsc1__getRelativeValuesResponse {
 public:
  std::vector<std::string> getRelativeValuesResult 0;
  struct soap* soap;
};

class _nsc1__getArray {
 public:
  std::string* options nullptr 1;
  std::string* path 0;
  struct soap* soap;
};

class _nsc1__getArrayResponse {
 public:
  std::vector<std::string> getArrayResult 0;
  struct soap* soap;
};

class _nsc1__getArrayRange {
 public:
  std::string* options nullptr 1;
  std::string* path 0;
  ULONG64 index 1 = 0;
  ULONG64 count 1 = 0;
  struct soap* soap;
};

class _nsc1__getArrayRangeResponse {
 public:
  std::vector<std::string> getArrayRangeResult 0;
  struct soap* soap;
};

class _nsc1__getArraySize {
 public:
  std::string* options nullptr 1;
  std::string* path 0;
  struct soap* soap;
};

class _nsc1__getArraySizeResponse {
 public:
  std::string* getArraySizeResult nullptr 1;
  struct soap* soap;
};

// ---- Writing ------------------------------------------------------------------------------------

class _nsc1__setValue {
 public:
  std::string* options nullptr 1;
  std::string* path 0;
  std::string* value 0;
  struct soap* soap;
};

class _nsc1__setValueResponse {
 public:
  std::string* setValueResult nullptr 1;
  struct soap* soap;
};

class _nsc1__setValues {
 public:
  std::string* options nullptr 1;
  std::vector<std::string> paths 0;
  std::vector<std::string> values 0;
  struct soap* soap;
};

class _nsc1__setValuesResponse {
 public:
  std::vector<std::string> setValuesResult 0;
  struct soap* soap;
};

// ---- Locales ------------------------------------------------------------------------------------

class _nsc1__getDefaultLocale {
 public:
  std::string* options nullptr 1;
  struct soap* soap;
};

class _nsc1__getDefaultLocaleResponse {
 public:
  std::string* getDefaultLocaleResult nullptr 1;
  struct soap* soap;
};

class _nsc1__getSupportedLocales {
 public:
  std::string* options nullptr 1;
  struct soap* soap;
};

class _nsc1__getSupportedLocalesResponse {
 public:
  nsc1__ArrayOfString* getSupportedLocalesResult 0;
  struct soap* soap;
};

// ---- Subscriptions and acknowledgement ----------------------------------------------------------

class _nsc1__createSubscription {
 public:
  std::string* options nullptr 1;
  std::string* subscriptionId nullptr 1;
  std::string* replyUri nullptr 1;
  int leaseDuration 1 = 0;
  nsc1__ArrayOfNodeSubscription* realTimeNodes nullptr 1;
  LONG64 logSinceTime 1 = 0;
  enum nsc1__SubscribeLogOptions subscribeLogOptions 1;
  struct soap* soap;
};

class _nsc1__createSubscriptionResponse {
 public:
  nsc1__ArrayOfRealTimeNodeSubscriptionResult* createSubscriptionResult nullptr 1;
  struct soap* soap;
};

class _nsc1__updateSubscriptionRealTimeNodes {
 public:
  std::string* subscriptionId nullptr 1;
  nsc1__ArrayOfNodeSubscription* realTimeNodesToAdd nullptr 1;
  nsc1__ArrayOfString* realTimeNodesToRemove nullptr 1;
  struct soap* soap;
};

class _nsc1__updateSubscriptionRealTimeNodesResponse {
 public:
  nsc1__ArrayOfRealTimeNodeSubscriptionResult* updateSubscriptionRealTimeNodesResult nullptr 1;
  struct soap* soap;
};

class _nsc1__cancelSubscription {
 public:
  std::string* subscriptionId nullptr 1;
  struct soap* soap;
};

class _nsc1__cancelSubscriptionResponse {
 public:
  struct soap* soap;
};

class _nsc1__acknowledgeAlarm {
 public:
  nsc1__ArrayOfAckRequest* requests nullptr 1;
  struct soap* soap;
};

class _nsc1__acknowledgeAlarmResponse {
 public:
  std::vector<std::string> acknowledgeAlarmResult 0;
  struct soap* soap;
};

// ---- What is published to subscribers -----------------------------------------------------------

//gsoap nss1 schema namespace:	http://tarnix.example/TarnixWSSubscriber
//gsoap nss1 schema elementForm:	qualified
//gsoap nss1 schema attributeForm:	unqualified

class nss1__PublishedValue {
 public:
  std::string* Path 0;
  std::string* Value 0;
  std::string* NumericValue 0;
  unsigned short Quality 1 = 0;
  LONG64 Time 1 = 0;  // microseconds since 1970-01-01 UTC
  bool RealTime 1 = false;
  bool Trend 1 = false;
  struct soap* soap;
};

class nss1__ArrayOfPublishedValue {
 public:
  std::vector<nss1__PublishedValue*> PublishedValue 0;
  struct soap* soap;
};

class nss1__EventDetail {
 public:
  std::string* Key 0;
  std::string* Value 0;
  struct soap* soap;
};

class nss1__ArrayOfEventDetail {
 public:
  std::vector<nss1__EventDetail*> EventDetail 0;
  struct soap* soap;
};

class nss1__ArrayOfString {
 public:
  std::vector<std::string> string 0;
  struct soap* soap;
};

enum nss1__EventType {
  nss1__EventType__Event = 0,
  nss1__EventType__Alarm = 1,
  nss1__EventType__StructureChanged = 2,
  nss1__EventType__LostEvent = 3,
};

enum nss1__AckStatus {
  nss1__AckStatus__NotAcked = 0,
  nss1__AckStatus__Acked = 1,
  nss1__AckStatus__Closed = 2,
};

class nss1__Event {
 public:
  ULONG64 EventId 1 = 0;
  unsigned int SequenceIndex 1 = 0;
  enum nss1__EventType EventType 1 = nss1__EventType__Event;
  std::string* SourcePath 0;
  LONG64 Time 1 = 0;  // microseconds since 1970-01-01 UTC
  std::string* Description 0;
  std::string* Value 0;
  std::string* NumericValue 0;
  std::string* Quality 0;  // a text here, a number in PublishedValue
  nss1__ArrayOfString* ComtradeWaveformUrls 0;
  nss1__ArrayOfEventDetail* Details 0;
  struct soap* soap;
};

class nss1__ArrayOfEvent {
 public:
  std::vector<nss1__Event*> Event 0;
  struct soap* soap;
};

class nss1__AlarmUpdate : public nss1__Event {
 public:
  std::string* BasePriority 0;
  enum nss1__AckStatus AckStatus 1 = nss1__AckStatus__NotAcked;
  bool AutoClosing 1 = false;
  bool ConditionPresent 1 = false;
  std::string* Note 0;
  int VariationLevel 1 = 0;
};

// The message to a subscriber's replyUri, and its answer.
class _nss1__publish {
 public:
  std::string subscriptionId 1;
  ULONG64 sequence 1 = 0;  // number of the first record: values and events count alike, from 1
  nss1__ArrayOfPublishedValue* values 0;
  nss1__ArrayOfEvent* events 0;
  struct soap* soap;
};

class _nss1__publishResponse {
 public:
  struct soap* soap;
};

// ---- Device data --------------------------------------------------------------------------------

// Elements in here bear no prefix. Times are microseconds since 1970-01-01 UTC unless said otherwise.

//gsoap nsvk service style:	document
//gsoap nsvk service encoding:	literal
//gsoap nsvk schema namespace:	http://tarnix.example/TarnixWSVK
//gsoap nsvk schema elementForm:	unqualified
//gsoap nsvk schema attributeForm:	unqualified

enum nsvk__LogRqstType {
  LgRqTypDeltas = 1,
  LgRqTypAlarmEvents = 2,
  LgRqTypSystemEvents = 3,
};

// The data store's sources of a leaf, under the same numbers.
enum nsvk__LeafTypes {
  LeafTypeNormal = 0,
  LeafTypePersist = 1,
  LeafTypeAuto = 2,
  LeafTypeMPL = 3,
};

enum nsvk__RatePeriod {
  RatePeriodA = 1,
  RatePeriodB = 2,
  RatePeriodC = 3,
  RatePeriodD = 4,
  RatePeriodAll = 5,
};

enum enumSampleType {
  SAMPLE_TYPE_NORMAL = 0,
  SAMPLE_TYPE_PF = 1,
  SAMPLE_TYPE_LISTEND = 2,
};

class nsvk__deviceDescriptor {
 public:
  std::string devPath 1;
  std::string devType 1;
  std::string devDisplayName 1;
  int devQuality 1 = 0;
  int devChangeCount 1 = 0;
  LONG64 devChangeTime 1 = 0;
  struct soap* soap;
};

class nsvk__getDeviceTreeResponse {
 public:
  std::string result 1;
  std::vector<nsvk__deviceDescriptor> devices 0;
  struct soap* soap;
};

class nsvk__leafDescriptor {
 public:
  std::string* result nullptr 1;
  LONG64 leafChangeTime 1 = 0;
  enum nsvk__LeafTypes leafType 1 = LeafTypeNormal;
  struct soap* soap;
};

class nsvk__getLeafDescriptorsResponse {
 public:
  std::string result 1;
  std::vector<nsvk__leafDescriptor*> descriptors 0;
  struct soap* soap;
};

class nsvk__findAttributeMatchesResponse {
 public:
  std::string result 1;
  std::vector<std::string> nodes 0;
  std::vector<std::string> data 0;
  struct soap* soap;
};

class nsvk__getLocalAndUtcTimeResponse {
 public:
  std::string result 1;
  LONG64 utcTime 1 = 0;
  LONG64 localTime 1 = 0;  // the same count shifted by the zone's offset
  std::string timezone 1;
  struct soap* soap;
};

class nsvk__MinAvgMaxValue {
 public:
  std::string result 1;
  std::string path 1;
  int numValues 1 = 0;
  double avgValue 1 = 0;
  double minValue 1 = 0;
  LONG64 minTime 1 = 0;
  double maxValue 1 = 0;
  LONG64 maxTime 1 = 0;
  enum nsvk__RatePeriod ratePeriod 1;
  struct soap* soap;
};

class nsvk__getMinAvgMaxValuesResponse {
 public:
  std::string result 1;
  LONG64 startTime 1 = 0;
  LONG64 endTime 1 = 0;
  std::vector<nsvk__MinAvgMaxValue> minAvgMaxValues 0;
  struct soap* soap;
};

// ---- Logs and alarms ----------------------------------------------------------------------------

class nsvk__logRetrieveRequest {
 public:
  std::string options 1;
  enum nsvk__LogRqstType rqstType 1;
  LONG64 startTime 1 = 0;
  LONG64 endTime 1 = 0;
  int nMaxToReturn 1 = 0;
  bool bLatestEvents 1 = false;
  bool bReverseOrder 1 = false;
  bool bTrimIncomplete 1 = false;
  std::string path 1;
  struct soap* soap;
};

class nsvk__getDeltaLogResponse {
 public:
  std::string result 1;
  int numTrimmedPoints 1 = 0;
  std::vector<nss1__PublishedValue*> loggedValues 0;
  struct soap* soap;
};

class nsvk__getEventLogResponse {
 public:
  std::string result 1;
  int numTrimmedEvents 1 = 0;
  std::vector<nss1__Event*> events 0;
  struct soap* soap;
};

class nsvk__getActiveAlarmsResponse {
 public:
  std::string result 1;
  int numTrimmedEvents 1 = 0;
  std::vector<nss1__AlarmUpdate*> alarms 0;
  struct soap* soap;
};

// ---- Trends -------------------------------------------------------------------------------------

class stPeriodProperties {
 public:
  ULONG64 period 1 = 0;
  ULONG64 max_entries 1 = 0;  // "max-entries"
  struct soap* soap;
};

class nsvk__getTrendPeriodsResponse {
 public:
  std::string result 1;
  std::vector<stPeriodProperties> periodProperties 0;
  struct soap* soap;
};

class stParamProperties {
 public:
  std::string path 1;
  enum enumSampleType type 1 = SAMPLE_TYPE_NORMAL;
  bool hasMin 1 = false;
  bool hasMax 1 = false;
  bool hasAvg 1 = false;
  bool hasActual 1 = false;
  struct soap* soap;
};

class nsvk__getDeviceTrendParamsResponse {
 public:
  std::string result 1;
  std::vector<stParamProperties> deviceParams 0;
  struct soap* soap;
};

class nsvk__getTrendDataRequest {
 public:
  std::string options 1;
  std::string devicePath 1;
  std::vector<std::string> pointPaths 0;
  std::vector<ULONG64> periods 0;
  LONG64 startTime 1 = 0;
  LONG64 endTime 1 = 0;
  int nMaxToReturn 1 = 0;
  ULONG64 startingOffset 1 = 0;
  bool ascendingOrder 1 = false;
  struct soap* soap;
};

// A value counts only where its flag says so.
class stSample {
 public:
  double min 1 = 0;
  double max 1 = 0;
  double avg 1 = 0;
  double actual 1 = 0;
  bool minValid 1 = false;
  bool maxValid 1 = false;
  bool avgValid 1 = false;
  bool actualValid 1 = false;
  struct soap* soap;
};

class stSnapshot {
 public:
  ULONG64 period 1 = 0;
  LONG64 timestamp 1 = 0;
  double percent_valid 1 = 0;  // "percent-valid"
  std::vector<stSample> data 0;
  struct soap* soap;
};

class stDeviceParams {
 public:
  std::string devicePath 1;
  std::vector<std::string> paramPaths 0;
  struct soap* soap;
};

class stDeviceData {
 public:
  stDeviceParams params 1;
  std::vector<stSnapshot> samples 0;
  struct soap* soap;
};

class nsvk__getTrendDataResponse {
 public:
  std::string result 1;
  stDeviceData data 1;
  struct soap* soap;
};

// ---- Waveforms ----------------------------------------------------------------------------------

class nsvk__getWaveDataRequest {
 public:
  std::string options 1;
  std::string url 1;
  std::string channel 1;
  struct soap* soap;
};

class nsvk__getWaveConfigResponse {
 public:
  std::string result 1;
  std::string stationID 1;
  std::string deviceID 1;
  std::string eventDescr 1;
  std::string triggerChannel 1;
  double samplingRate 1 = 0;  // hertz
  int numberSamples 1 = 0;
  LONG64 startTime 1 = 0;
  LONG64 triggerTime 1 = 0;
  int triggerIndex 1 = 0;
  std::vector<std::string> analogChannelNames 0;
  std::vector<std::string> digitalChannelNames 0;
  struct soap* soap;
};

class nsvk__getWaveDataResponse {
 public:
  std::string result 1;
  double samplingRate 1 = 0;  // hertz
  LONG64 startTime 1 = 0;
  LONG64 triggerTime 1 = 0;
  int triggerIndex 1 = 0;
  std::vector<double> data 0;
  struct soap* soap;
};

// ---- Device commands ----------------------------------------------------------------------------

// Elements in here bear no prefix.

//gsoap nsc3 service style:	document
//gsoap nsc3 service encoding:	literal
//gsoap nsc3 schema namespace:	http://tarnix.example/TarnixWSC3
//gsoap nsc3 schema elementForm:	unqualified
//gsoap nsc3 schema attributeForm:	unqualified

enum nsc3__cmdNumStatus {
  nsc3__cmdNumStatus__cmdUnknown = 0,
  nsc3__cmdNumStatus__cmdSuccess = 1,
  nsc3__cmdNumStatus__cmdPending = 2,
  nsc3__cmdNumStatus__cmdFailInvalid = 3,
  nsc3__cmdNumStatus__cmdFailUnable = 4,
  nsc3__cmdNumStatus__cmdFailBusy = 5,
  nsc3__cmdNumStatus__cmdFailTimeout = 6,
  nsc3__cmdNumStatus__cmdFailHandle = 7,
  nsc3__cmdNumStatus__cmdFailOther = 8,
  nsc3__cmdNumStatus__cmdSuccessOther = 9,
};

// What a cmdVersion says; the member itself is a plain number, which the device's version is
// compared with.
enum nsc3__cmdSchemaVersion {
  nsc3__cmdSchemaVersion__1 = 1,
};

class nsc3__simpleCmd {
 public:
  std::string name 1;
  std::string param 1;
  int num 1 = 0;
  int psswd 1 = 0;
  struct soap* soap;
};

class nsc3__setValueCmd {
 public:
  std::string name 1;
  std::string param 1;
  int num 1 = 0;
  int psswd 1 = 0;
  int iValue 1 = 0;
  struct soap* soap;
};

class nsc3__setTextCmd {
 public:
  std::string name 1;
  std::string param 1;
  int num 1 = 0;
  int psswd 1 = 0;
  std::string text 1;
  struct soap* soap;
};

class nsc3__sendCmd_s {
 public:
  int cmdVersion 1 = 0;
  $int __union_sendCmdUnion = 0;  // SOAP_UNION_nsc3__sendCmdUnion_...; 0: none is there
  union nsc3__sendCmdUnion {
    std::string* cmdLine;
    nsc3__simpleCmd* cmdBasic;
    nsc3__setValueCmd* cmdIval;
    nsc3__setTextCmd* cmdText;
  } cmd;
  struct soap* soap;
};

class nsc3__harmonic_s {
 public:
  int frequency 1 = 0;    // hertz
  float magnitude 1 = 0;  // in the point's unit
  float phase 1 = 0;      // degrees
  struct soap* soap;
};

class nsc3__harmonicResponse {
 public:
  std::string cdsName 1;
  std::string displayName 1;
  LONG64 timeSample 1 = 0;  // microseconds since 1970-01-01 UTC
  std::vector<nsc3__harmonic_s> hData 0;
  struct soap* soap;
};

class nsc3__cmdResult_s {
 public:
  int cmdVersion 1 = 0;
  $int __union_cmdResultUnion = 0;  // SOAP_UNION_nsc3__cmdResultUnion_...; 0: none is there
  union nsc3__cmdResultUnion {
    std::string* resText;
    nsc3__harmonicResponse* resHarms;
  } result;
  struct soap* soap;
};

class nsc3__sendDeviceCmdResponse {
 public:
  std::string result 1;
  int cmdHandle 1 = 0;
  struct soap* soap;
};

class nsc3__getDeviceCmdResultResponse {
 public:
  std::string result 1;
  int cmdHandle 1 = 0;
  enum nsc3__cmdNumStatus numericStatus 1 = nsc3__cmdNumStatus__cmdUnknown;
  std::string cmdStatus 1;
  nsc3__cmdResult_s cmdResults 1;
  struct soap* soap;
};

// ---- Node maintenance ---------------------------------------------------------------------------

//gsoap nst1 service style:	document
//gsoap nst1 service encoding:	literal
//gsoap nst1 schema namespace:	http://tarnix.example/TarnixWSTest
//gsoap nst1 schema elementForm:	qualified
//gsoap nst1 schema attributeForm:	unqualified

class _nst1__CreateNode {
 public:
  std::string* options nullptr 1;
  std::string* basePath 0;
  std::vector<std::string> paths 0;
  std::vector<std::string> values 0;
  struct soap* soap;
};

class _nst1__CreateNodeResponse {
 public:
  std::string* CreateNodeResult nullptr 1;
  struct soap* soap;
};

class _nst1__SetLeaf {
 public:
  std::string* options nullptr 1;
  std::string* path 0;
  std::string* value 0;
  struct soap* soap;
};

class _nst1__SetLeafResponse {
 public:
  std::string* SetLeafResult 0;
  struct soap* soap;
};

class _nst1__SetLeaves {
 public:
  std::string* options nullptr 1;
  std::vector<std::string> paths 0;
  std::vector<std::string> values 0;
  struct soap* soap;
};

class _nst1__SetLeavesResponse {
 public:
  std::vector<std::string> SetLeavesResult 0;
  struct soap* soap;
};

class _nst1__Reset {
 public:
  std::string* options nullptr 1;
  struct soap* soap;
};

class _nst1__ResetResponse {
 public:
  std::string* ResetResult nullptr 1;
  struct soap* soap;
};

class _nst1__RemoveNode {
 public:
  std::string* options nullptr 1;
  std::string* basePath 0;
  struct soap* soap;
};

class _nst1__RemoveNodeResponse {
 public:
  std::string* RemoveNodeResult nullptr 1;
  struct soap* soap;
};

class _nst1__getSubscribedNodes {
 public:
  std::string* subscriptionId 0;
  struct soap* soap;
};

class _nst1__getSubscribedNodesResponse {
 public:
  std::vector<std::string> getSubscribedNodesResult 0;
  struct soap* soap;
};

// ---- Operations, in dispatch order --------------------------------------------------------------

// What clients' tools are told of them.
//gsoap nsc1 service method-documentation: getValue Reads one value or attribute, as a text.
//gsoap nsc1 service method-documentation: getValues Reads many values.
//gsoap nsc1 service method-documentation: getRelativeValues Reads many values below one path.
//gsoap nsc1 service method-documentation: getArray Reads a list, such as a node's :Children.
//gsoap nsc1 service method-documentation: getArrayRange Reads a part of a list.
//gsoap nsc1 service method-documentation: getArraySize Reads the length of a list.
//gsoap nsc1 service method-documentation: setValue Writes one value and answers what it is then; the option persist makes it durable.
//gsoap nsc1 service method-documentation: setValues Writes values to paths, pair by pair.
//gsoap nsc1 service method-documentation: getDefaultLocale Tells the language of the answers for a caller who names none.
//gsoap nsc1 service method-documentation: getSupportedLocales Lists the languages that labels and texts come in.
//gsoap nsc1 service method-documentation: createSubscription Makes or renews a subscription: changes, events and alarms are then sent to replyUri.
//gsoap nsc1 service method-documentation: updateSubscriptionRealTimeNodes Adds points to a subscription and removes others.
//gsoap nsc1 service method-documentation: cancelSubscription Ends a subscription.
//gsoap nsc1 service method-documentation: acknowledgeAlarm Acknowledges, closes or annotates alarms; answers nothing but errors.
//gsoap nst1 service method-documentation: CreateNode Makes a node with its leaves.
//gsoap nst1 service method-documentation: SetLeaf Writes one leaf directly.
//gsoap nst1 service method-documentation: SetLeaves Writes leaves directly, pair by pair.
//gsoap nst1 service method-documentation: Reset Restarts the device.
//gsoap nst1 service method-documentation: RemoveNode Removes a node with all that is below it.
//gsoap nst1 service method-documentation: getSubscribedNodes Lists the points of a subscription.
//gsoap nsvk service method-documentation: getMinAvgMaxValues Is not offered: the answer is a fault.
//gsoap nsvk service method-documentation: getDeviceTree Lists the devices with type, name, quality and count of changes. result is always empty.
//gsoap nsvk service method-documentation: findAttributeMatches Finds the nodes of which an attribute's value matches a regular expression. result is empty, or an error string.
//gsoap nsvk service method-documentation: getLeafDescriptors Tells value, kind and time of the last change of many leaves. result is OK, or an error string.
//gsoap nsvk service method-documentation: getLocalAndUtcTime Tells the device's clock and zone. result is always empty.
//gsoap nsvk service method-documentation: whoAmI Tells who the caller is. result is his name, empty for anonymous.
//gsoap nsvk service method-documentation: getDeltaLog Reads the log of values that changed. result is empty, or an error string.
//gsoap nsvk service method-documentation: getEventLog Reads the log of alarms and events, or of system events. result is empty, or an error string.
//gsoap nsvk service method-documentation: getActiveAlarms Lists the alarms that are active now. result is empty, or an error string.
//gsoap nsvk service method-documentation: getTrendPeriods Lists the periods of the interval trends. result is OK, or an error string.
//gsoap nsvk service method-documentation: getDeviceTrendParams Lists the points of a device that have trends. result is empty, or an error string.
//gsoap nsvk service method-documentation: getTrendData Reads trends: minimum, maximum, average and last value of each interval. result is OK, empty where none of the points has trends, or an error string.
//gsoap nsvk service method-documentation: getWaveformConfig Describes a waveform record and names its channels. result is OK, or an error string.
//gsoap nsvk service method-documentation: getWaveformData Reads the samples of one channel of a waveform record. result is OK, or an error string.
//gsoap nsc3 service method-documentation: sendDeviceCmd Gives a device a command and answers the handle of its result. result is empty, or an error string.
//gsoap nsc3 service method-documentation: getDeviceCmdResult Tells what has become of a command. result is empty, or an error string; numericStatus says what the device made of it.

int __nsc1__getValue(_nsc1__getValue* nsc1__getValue,
                     _nsc1__getValueResponse* nsc1__getValueResponse);
int __nsc1__getValues(_nsc1__getValues* nsc1__getValues,
                      _nsc1__getValuesResponse* nsc1__getValuesResponse);
int __nsc1__getRelativeValues(_nsc1__getRelativeValues* nsc1__getRelativeValues,
                              _nsc1__getRelativeValuesResponse* nsc1__getRelativeValuesResponse);
int __nsc1__getArray(_nsc1__getArray* nsc1__getArray,
                     _nsc1__getArrayResponse* nsc1__getArrayResponse);
int __nsc1__getArrayRange(_nsc1__getArrayRange* nsc1__getArrayRange,
                          _nsc1__getArrayRangeResponse* nsc1__getArrayRangeResponse);
int __nsc1__getArraySize(_nsc1__getArraySize* nsc1__getArraySize,
                         _nsc1__getArraySizeResponse* nsc1__getArraySizeResponse);
int __nsc1__setValue(_nsc1__setValue* nsc1__setValue,
                     _nsc1__setValueResponse* nsc1__setValueResponse);
int __nsc1__setValues(_nsc1__setValues* nsc1__setValues,
                      _nsc1__setValuesResponse* nsc1__setValuesResponse);
int __nsc1__getDefaultLocale(_nsc1__getDefaultLocale* nsc1__getDefaultLocale,
                             _nsc1__getDefaultLocaleResponse* nsc1__getDefaultLocaleResponse);
int __nsc1__getSupportedLocales(
    _nsc1__getSupportedLocales* nsc1__getSupportedLocales,
    _nsc1__getSupportedLocalesResponse* nsc1__getSupportedLocalesResponse);
int __nsc1__createSubscription(
    _nsc1__createSubscription* nsc1__createSubscription,
    _nsc1__createSubscriptionResponse* nsc1__createSubscriptionResponse);
int __nsc1__updateSubscriptionRealTimeNodes(
    _nsc1__updateSubscriptionRealTimeNodes* nsc1__updateSubscriptionRealTimeNodes,
    _nsc1__updateSubscriptionRealTimeNodesResponse* nsc1__updateSubscriptionRealTimeNodesResponse);
int __nsc1__cancelSubscription(
    _nsc1__cancelSubscription* nsc1__cancelSubscription,
    _nsc1__cancelSubscriptionResponse* nsc1__cancelSubscriptionResponse);
int __nsc1__acknowledgeAlarm(
    _nsc1__acknowledgeAlarm* nsc1__acknowledgeAlarm,
    _nsc1__acknowledgeAlarmResponse* nsc1__acknowledgeAlarmResponse);
int __nst1__CreateNode(_nst1__CreateNode* nst1__CreateNode, _nst1__CreateNodeResponse* nst1__CreateNodeResponse);
int __nst1__SetLeaf(_nst1__SetLeaf* nst1__SetLeaf, _nst1__SetLeafResponse* nst1__SetLeafResponse);
int __nst1__SetLeaves(_nst1__SetLeaves* nst1__SetLeaves, _nst1__SetLeavesResponse* nst1__SetLeavesResponse);
int __nst1__Reset(_nst1__Reset* nst1__Reset, _nst1__ResetResponse* nst1__ResetResponse);
int __nst1__RemoveNode(_nst1__RemoveNode* nst1__RemoveNode, _nst1__RemoveNodeResponse* nst1__RemoveNodeResponse);
int __nst1__getSubscribedNodes(_nst1__getSubscribedNodes* nst1__getSubscribedNodes, _nst1__getSubscribedNodesResponse* nst1__getSubscribedNodesResponse);

// Their parameters are the children of the request element, without a prefix.
int nsvk__getMinAvgMaxValues(std::string* options 0, std::vector<std::string>* paths 0,
                             LONG64 startTime 1 = 0, LONG64 endTime 1 = 0,
                             enum nsvk__RatePeriod ratePeriod 1,
                             nsvk__getMinAvgMaxValuesResponse& response);
int nsvk__getDeviceTree(std::string* options 0, std::string* startingPath 0,
                        bool bRecursive 1 = false, nsvk__getDeviceTreeResponse& response);
int nsvk__findAttributeMatches(std::string* options 0, std::string* startingPath 0,
                               bool bRecursive 1 = false, std::string* attribMatch 0,
                               std::string* regexMatchPattern 0,
                               nsvk__findAttributeMatchesResponse& response);
int nsvk__getLeafDescriptors(std::string* options 0, std::string* basePath 0,
                             std::vector<std::string> leafPaths 0,
                             nsvk__getLeafDescriptorsResponse& response);
int nsvk__getLocalAndUtcTime(std::string* options 0, nsvk__getLocalAndUtcTimeResponse& response);
int nsvk__whoAmI(std::string* options 0, std::string& result);
int nsvk__getDeltaLog(nsvk__logRetrieveRequest* request 0, nsvk__getDeltaLogResponse& response);
int nsvk__getEventLog(nsvk__logRetrieveRequest* request 0, nsvk__getEventLogResponse& response);
int nsvk__getActiveAlarms(nsvk__logRetrieveRequest* request 0,
                          nsvk__getActiveAlarmsResponse& response);
int nsvk__getTrendPeriods(std::string* options 0, nsvk__getTrendPeriodsResponse& response);
int nsvk__getDeviceTrendParams(std::string* options 0, std::string* devicePath 0,
                               nsvk__getDeviceTrendParamsResponse& response);
int nsvk__getTrendData(nsvk__getTrendDataRequest* request 0, nsvk__getTrendDataResponse& response);
int nsvk__getWaveformConfig(std::string* options 0, std::string* url 0,
                            nsvk__getWaveConfigResponse& response);
int nsvk__getWaveformData(nsvk__getWaveDataRequest* request 0,
                          nsvk__getWaveDataResponse& response);
int nsc3__sendDeviceCmd(std::string* options 0, std::string* devPath 0, nsc3__sendCmd_s* cmd 0,
                        nsc3__sendDeviceCmdResponse& response);
int nsc3__getDeviceCmdResult(std::string* options 0, std::string* devPath 0, int cmdHandle 1 = 0,
                             nsc3__getDeviceCmdResultResponse& response);
