"""A call of every operation but Reset, for the toolkits that know the service by its WSDL, as the user operator."""

NOTE, POINT, NAME = "/Feeder1/OperatorNote", "/Feeder1/Breaker", "toolkit"
LOG = {"rqstType": "LgRqTypSystemEvents", "nMaxToReturn": 1}
NODE = {"Path": POINT, "RequestedFreshness": 2000, "DeadbandPercent": 0}
COMMAND = {"cmdVersion": 1, "cmdBasic": {"name": "Harmonics", "param": "CurrentA", "num": 0, "psswd": 0}}
RECORD = "/waveforms/none"
# Namespace, operation, arguments, and what the answer's texts match only when the arguments have arrived.
CALLS = [
    ("", "getValue", {"path": POINT}, "Closed"),
    ("", "getValues", {"paths": {"string": [POINT, NOTE]}}, "Closed"),
    ("", "getRelativeValues", {"basePath": "/Feeder1", "paths": ["/Breaker", "/Nothing"]}, r"Closed.*\? 9 "),
    ("", "getArray", {"path": "/Feeder1:Children"}, "Breaker"),
    ("", "getArrayRange", {"path": "/Feeder1:Children", "index": 0, "count": 1}, r"^\w+$"),
    ("", "getArraySize", {"path": "/Feeder1:Children"}, r"^\d\d+$"),
    ("", "setValue", {"path": NOTE, "value": "a < b & ü"}, "^a < b & ü$"),
    ("", "setValues", {"paths": [NOTE, NOTE], "values": ["first", "second"]}, "first.*second"),
    ("", "getDefaultLocale", {}, "^en-US$"),
    ("", "getSupportedLocales", {}, "de-DE"),
    ("", "createSubscription", {
        "subscriptionId": NAME, "replyUri": "http://127.0.0.1:9/", "leaseDuration": 60000,
        "realTimeNodes": {"NodeSubscription": [NODE]}, "subscribeLogOptions": ["Alarm", "NonAlarmEvent"]}, "Closed"),
    ("", "updateSubscriptionRealTimeNodes", {
        "subscriptionId": NAME, "realTimeNodesToAdd": {"NodeSubscription": [dict(NODE, Path=NOTE)]}}, "second"),
    ("Test", "getSubscribedNodes", {"subscriptionId": NAME}, f"{POINT}.*{NOTE}|{NOTE}.*{POINT}"),
    ("", "cancelSubscription", {"subscriptionId": NAME}, "^$"),
    ("", "acknowledgeAlarm", {"requests": {"AckRequest": [{"EventId": 999999, "Status": "Acked"}]}}, r"\? \d+"),
    ("Test", "CreateNode", {"basePath": "/Nothing", "paths": [], "values": []}, r"\? \d+"),
    ("Test", "SetLeaf", {"path": f"{NOTE}/Value", "value": "leaf"}, "^leaf$"),
    ("Test", "SetLeaves", {"paths": [f"{NOTE}/Value"], "values": ["leaves"]}, "^leaves$"),
    ("Test", "RemoveNode", {"basePath": "/Nothing"}, "^FAULT .*401"),
    ("VK", "getMinAvgMaxValues", {"startTime": 0, "endTime": 0}, "^FAULT "),
    ("VK", "getDeviceTree", {"startingPath": "/", "bRecursive": True}, "/Feeder1/Branch1"),
    ("VK", "findAttributeMatches", {"startingPath": "/Feeder1", "bRecursive": True, "attribMatch": "DisplayName",
                                    "regexMatchPattern": "phase A$"}, "/Feeder1/VoltageA"),
    ("VK", "getLeafDescriptors", {"basePath": "/Feeder1", "leafPaths": ["/Breaker"]}, "LeafType"),
    ("VK", "getLocalAndUtcTime", {}, r"\b\d{16}\b"),
    ("VK", "whoAmI", {}, "^operator$"),
    ("VK", "getDeltaLog", {"request": dict(LOG, rqstType="LgRqTypDeltas")}, r"\b\d{16}\b"),
    ("VK", "getEventLog", {"request": LOG}, r"\b\d{16}\b"),
    ("VK", "getActiveAlarms", {"request": LOG}, r"\b0\b"),
    ("VK", "getTrendPeriods", {}, r"\b1440\b"),
    ("VK", "getDeviceTrendParams", {"devicePath": "/Feeder1"}, "/Feeder1/PowerTotal"),
    ("VK", "getTrendData", {"request": {"devicePath": "/Feeder1", "pointPaths": ["/Feeder1/PowerTotal"],
                                        "periods": [3], "nMaxToReturn": 1}}, "OK.*/Feeder1/PowerTotal"),
    ("VK", "getWaveformConfig", {"url": RECORD}, r"\? 22 "),
    ("VK", "getWaveformData", {"request": {"url": RECORD, "channel": "VA"}}, r"\? 22 "),
    ("C3", "sendDeviceCmd", {"devPath": "/Feeder1", "cmd": COMMAND}, r"^\s*[1-9]\d*\s*$"),
    ("C3", "getDeviceCmdResult", {"devPath": "/Feeder1", "cmdHandle": 999999}, "cmdFailHandle"),
]
