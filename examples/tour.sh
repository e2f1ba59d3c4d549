#!/usr/bin/env bash
# A tour of the service with nothing but curl. Start ./demo, then
#
#   examples/tour.sh [http://127.0.0.1:8080]
set -uo pipefail
base=${1:-http://127.0.0.1:${PORT:-8080}}
# The demo has a subscriber on the port after its own. It prints into the demo's terminal.
subscriber=${base%:*}:$((${base##*:} + 1))/
voltage=/Feeder1/VoltageA
setpoint=/Feeder1/NominalVoltage

# The operations' namespaces. In the first one the children of a request bear it too, in the others here
# they bear none.
core=http://tarnix.example/TarnixWS
data=http://tarnix.example/TarnixWSVK
commands=http://tarnix.example/TarnixWSC3

fail() {
    echo "$*" >&2
    exit 1
}

# send NAMESPACE OPERATION CHILDREN: leaves the answer in $reply, an element a line. Reading takes no user,
# writing does: here each request has one.
send() {
    local open="<n:$2 xmlns:n=\"$1\">" status
    [[ $1 != *TarnixWS && $1 != *TarnixWSTest ]] || open="<n:$2 xmlns:n=\"$1\" xmlns=\"$1\">"
    reply=$(curl -sS --max-time 30 -u operator:operator -H 'Content-Type: text/xml' "$base/ws" -d "
        <e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"><e:Body>
            $open$3</n:$2>
        </e:Body></e:Envelope>" 2>&1)
    status=$?
    ((status == 0)) || fail "There is no server at $base, is ./demo running? $reply"
    reply=${reply//></>$'\n'<}
    [[ $reply == *:Envelope* ]] || fail "The answer to $2 is no SOAP, is the user known? $reply"
    [[ $reply != *:Fault* ]] || fail "$2 was answered with a fault: $(all faultstring)"
}

# soap NAMESPACE OPERATION CHILDREN: as send, and ends where the service cannot do what it shall: then there
# is an error string in place of a value, "? 9 Node Not Found : ...".
soap() {
    send "$@"
    [[ $reply != *'>? '* ]] || fail "$2 was answered with: $(grep '>? ' <<<"$reply")"
}

# all NAME: the texts of the elements of that name in $reply, a line each.
all() {
    sed -nE "s/^<([a-z0-9]+:)?$1( [^>]*)?>([^<]*)<.*/\3/p" <<<"$reply"
}

first() {
    all "$1" | head -n 1
}

# wait_for WHAT COMMAND...: asks every half second until the command is content.
wait_for() {
    local tries
    for tries in {1..40}; do
        "${@:2}" && return
        sleep 0.5
    done
    fail "There is still no $1 after $tries tries."
}

echo "== Values"
soap $core getValues "<options>precision=6;locale=de-DE</options>
    <paths><string>$voltage</string><string>$voltage:Units</string><string>$voltage:DisplayName</string></paths>"
mapfile -t texts < <(all getValuesResult)
echo "${texts[2]}: ${texts[0]} ${texts[1]}"
soap $core getValue "<path>$setpoint</path>"
before=$(first getValueResult)
soap $data getLocalAndUtcTime ''
since=$(first utcTime) # microseconds since 1970
# The answer to a write is the value as it is then. A supply of 200 V makes alarms, see below.
soap $core setValue "<path>$setpoint</path><value>200</value>"
echo "$setpoint was $before, is $(first setValueResult)"

echo "== Subscription"
soap $core createSubscription "<subscriptionId>tour-sh</subscriptionId><replyUri>$subscriber</replyUri>
    <leaseDuration>600000</leaseDuration>
    <realTimeNodes><NodeSubscription><Path>$voltage</Path>
        <RequestedFreshness>2000</RequestedFreshness><DeadbandPercent>0.5</DeadbandPercent>
    </NodeSubscription></realTimeNodes>
    <subscribeLogOptions>Alarm</subscribeLogOptions>"
# The points' values as they are; those that follow are sent to the replyUri.
echo "Value now: $(first Value)"
soap ${core}Test getSubscribedNodes "<subscriptionId>tour-sh</subscriptionId>"
echo "Subscribed to: $(all getSubscribedNodesResult)"

echo "== Alarms"
alarms() {
    soap $data getActiveAlarms "<request><startTime>$since</startTime></request>"
    [[ $(first EventId) ]]
}
wait_for "active alarm" alarms
paste -d ' ' <(all EventId) <(all SourcePath) <(all Description)
requests=
for id in $(all EventId); do
    requests+="<AckRequest><EventId>$id</EventId><Note>seen by tour.sh</Note><Status>Acked</Status></AckRequest>"
done
# No news is good news: the answer has a text only for what went wrong.
soap $core acknowledgeAlarm "<requests>$requests</requests>"

recorded() {
    soap $data getEventLog "<request><rqstType>LgRqTypAlarmEvents</rqstType><startTime>$since</startTime></request>"
    url=$(first string)
    [[ $url ]]
}
wait_for "waveform record" recorded
echo "== Waveform $url"
soap $data getWaveformConfig "<url>$url</url>"
channel=$(first analogChannelNames)
echo "$(first numberSamples) samples at $(first samplingRate) Hz of $(all analogChannelNames | xargs)"
soap $data getWaveformData "<request><url>$url</url><channel>$channel</channel></request>"
echo "$channel goes from $(all data | sort -g | head -n 1) to $(all data | sort -g | tail -n 1)"

# An alarm that was acknowledged is closed when its cause is gone.
closed() {
    alarms && [[ $(all AckStatus | sort -u) == Closed ]]
}
soap $core setValue "<path>$setpoint</path><value>$before</value>"
wait_for "end of the alarms" closed
echo "== $setpoint is $before again, the alarms are over"

echo "== Trend of the power, by quarters of an hour: when, least, average, most"
soap $data getTrendData "<request><devicePath>/Feeder1</devicePath><pointPaths>/Feeder1/PowerTotal</pointPaths>
    <periods>3</periods><nMaxToReturn>4</nMaxToReturn></request>"
for time in $(all timestamp); do
    date -d "@$((time / 1000000))" +%H:%M
done | paste - <(all min) <(all avg) <(all max)

echo "== Device command: the harmonics of $voltage"
soap $commands sendDeviceCmd "<devPath>/Feeder1</devPath><cmd><cmdVersion>1</cmdVersion>
    <cmdBasic><name>Harmonics</name><param>VoltageA</param></cmdBasic></cmd>"
handle=$(first cmdHandle)

# Until the device has answered there is no result under the handle, or a pending one.
answered() {
    send $commands getDeviceCmdResult "<devPath>/Feeder1</devPath><cmdHandle>$handle</cmdHandle>"
    [[ $(first numericStatus) != @(cmdFailHandle|cmdPending) ]]
}
wait_for "result of the command" answered
[[ $(first numericStatus) == cmdSuccess ]] || fail "The device says: $(first cmdStatus) $(first result)"
paste <(all frequency) <(all magnitude) <(all phase) |
    awk '$2 > 0.1 { printf "%5d Hz %8.2f V at %.1f degrees\n", $1, $2, $3 }'

soap $core cancelSubscription "<subscriptionId>tour-sh</subscriptionId>"
echo "== The subscription is cancelled"
