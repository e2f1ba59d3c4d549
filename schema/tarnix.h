// clang-format off
// (The input of the generator only looks like C++.)
// The service's wire interface: types and operations, from which the build generates the serialisers,
// the skeletons and the dispatcher. Operations are dispatched in the order of the functions below.
//
// How to read a member:
//   T* x nullptr 1        nillable: written as xsi:nil when absent
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

// ---- Operations, in dispatch order --------------------------------------------------------------

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
