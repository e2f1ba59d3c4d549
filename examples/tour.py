#!/usr/bin/python3
"""A tour of the service with zeep (Debian: python3-zeep). Start ./demo, then

    examples/tour.py [http://127.0.0.1:8080]
"""

import os
import sys
import time

import requests
import zeep
from zeep.transports import Transport

BASE = sys.argv[1] if len(sys.argv) > 1 else f"http://127.0.0.1:{os.environ.get('PORT', '8080')}"
# The demo has a subscriber on the port after its own. It prints into the demo's terminal.
HOST, PORT = BASE.rsplit(":", 1)
SUBSCRIBER = f"{HOST}:{int(PORT) + 1}/"
VOLTAGE, SETPOINT = "/Feeder1/VoltageA", "/Feeder1/NominalVoltage"


def good(text):
    """What cannot be had is an error string in place of the value: "? 9 Node Not Found : ..."."""
    if text and text.startswith("?"):
        sys.exit(f"The service says: {text}")
    return text


def wait_for(what, ask):
    for _ in range(40):
        answer = ask()
        if answer:
            return answer
        time.sleep(0.5)
    sys.exit(f"There is still no {what} after 20 seconds.")


def read_and_write(service):
    print("== Values")
    # What a request leaves out counts as empty. Options are one text: "precision=6;locale=de-DE".
    paths = [VOLTAGE, f"{VOLTAGE}:Units", f"{VOLTAGE}:DisplayName"]
    voltage, units, name = map(good, service.getValues(options="precision=6;locale=de-DE", paths={"string": paths}))
    print(f"{name}: {voltage} {units}")
    before = good(service.getValue(path=SETPOINT))
    # The answer to a write is the value as it is then. A supply of 200 V makes alarms, see below.
    print(f"{SETPOINT} was {before}, is {good(service.setValue(path=SETPOINT, value='200'))}")
    return before


def subscribe(service):
    print("== Subscription")
    node = {"Path": VOLTAGE, "RequestedFreshness": 2000, "DeadbandPercent": 0.5}  # at most every 2 s
    values = service.createSubscription(
        subscriptionId="tour-py", replyUri=SUBSCRIBER, leaseDuration=600_000,
        realTimeNodes={"NodeSubscription": [node]}, subscribeLogOptions=["Alarm"])
    # The points' values as they are; those that follow are sent to the replyUri.
    print("Value now:", [good(value["Value"]) for value in values])
    print("Subscribed to:", [good(path) for path in service.getSubscribedNodes(subscriptionId="tour-py")])


def active_alarms(service, since):
    # The WSDL asks for a type in each of these requests; here it has no effect.
    return service.getActiveAlarms(request={"rqstType": "LgRqTypAlarmEvents", "startTime": since})["alarms"]


def alarms(service, since):
    print("== Alarms")
    active = wait_for("active alarm", lambda: active_alarms(service, since))
    for alarm in active:
        print(f"{alarm['EventId']}: {alarm['SourcePath']} {alarm['Description']}, {alarm['Value']}")
    # No news is good news: the answer has a text only for what went wrong.
    errors = service.acknowledgeAlarm(requests={"AckRequest": [
        {"EventId": alarm["EventId"], "Status": "Acked", "Note": "seen by tour.py"} for alarm in active]})
    for error in errors:
        good(error)

    def recorded():
        log = service.getEventLog(request={"rqstType": "LgRqTypAlarmEvents", "startTime": since})
        good(log["result"])
        return [event["ComtradeWaveformUrls"]["string"][0] for event in log["events"]
                if event["ComtradeWaveformUrls"]]
    return wait_for("waveform record", recorded)[0]


def waveform(service, url):
    print("== Waveform", url)
    config = service.getWaveformConfig(url=url)
    good(config["result"])
    print(f"{config['numberSamples']} samples at {config['samplingRate']:g} Hz of", *config["analogChannelNames"])
    samples = service.getWaveformData(request={"url": url, "channel": config["analogChannelNames"][0]})
    good(samples["result"])
    print(f"{config['analogChannelNames'][0]} goes from {min(samples['data']):.1f} to {max(samples['data']):.1f}")


def restore(service, setpoint, since):
    good(service.setValue(path=SETPOINT, value=setpoint))

    # An alarm that was acknowledged is closed when its cause is gone.
    def closed():
        return all(alarm["AckStatus"] == "Closed" for alarm in active_alarms(service, since))
    wait_for("end of the alarms", closed)
    print(f"== {SETPOINT} is {setpoint} again, the alarms are over")


def trends(service):
    print("== Trend of the power, by quarters of an hour")
    answer = service.getTrendData(request={
        "devicePath": "/Feeder1", "pointPaths": ["/Feeder1/PowerTotal"], "periods": [3], "nMaxToReturn": 4})
    good(answer["result"])
    for snapshot in answer["data"]["samples"]:
        power = snapshot["data"][0]
        # Times are microseconds since 1970. "percent-valid" is no name in Python, so items go by their text.
        when = time.strftime("%H:%M", time.localtime(snapshot["timestamp"] / 1e6))
        print(f"{when} {power['min']:8.3f} {power['avg']:8.3f} {power['max']:8.3f}  {snapshot['percent-valid']:g} % valid")


def command(service):
    print("== Device command: the harmonics of", VOLTAGE)
    basic = {"name": "Harmonics", "param": "VoltageA"}
    sent = service.sendDeviceCmd(devPath="/Feeder1", cmd={"cmdVersion": 1, "cmdBasic": basic})
    good(sent["result"])

    def finished():
        # Until the device has answered there is no result under the handle, or a pending one.
        result = service.getDeviceCmdResult(devPath="/Feeder1", cmdHandle=sent["cmdHandle"])
        return None if result["numericStatus"] in ("cmdFailHandle", "cmdPending") else result
    result = wait_for("result of the command", finished)
    good(result["result"])
    if result["numericStatus"] != "cmdSuccess":
        sys.exit(f"The device says: {result['cmdStatus']}")
    for harmonic in result["cmdResults"]["resHarms"]["hData"]:
        if harmonic["magnitude"] > 0.1:
            print(f"{harmonic['frequency']:5} Hz {harmonic['magnitude']:8.2f} V at {harmonic['phase']:.1f} degrees")


def main():
    session = requests.Session()
    session.auth = ("operator", "operator")  # reading takes no user, writing does
    service = zeep.Client(f"{BASE}/dravixd.wsdl", transport=Transport(session=session, operation_timeout=30)).service

    since = service.getLocalAndUtcTime()["utcTime"]
    setpoint = read_and_write(service)
    subscribe(service)
    url = alarms(service, since)
    waveform(service, url)
    restore(service, setpoint, since)
    trends(service)
    command(service)
    service.cancelSubscription(subscriptionId="tour-py")
    print("== The subscription is cancelled")


try:
    main()
except requests.exceptions.ConnectionError:
    sys.exit(f"There is no server at {BASE}: is ./demo running?")
except (requests.exceptions.RequestException, zeep.exceptions.Error) as error:
    sys.exit(f"The request failed: {error}")
