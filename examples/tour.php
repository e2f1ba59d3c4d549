#!/usr/bin/php
<?php
// A tour of the service with PHP's SoapClient (Debian: php-cli, php-soap). Start ./demo, then
//
//   examples/tour.php [http://127.0.0.1:8080]

$base = $argv[1] ?? 'http://127.0.0.1:' . (getenv('PORT') ?: '8080');
// The demo has a subscriber on the port behind its own. It prints into the demo's terminal.
$subscriber = preg_replace_callback('/\d+$/', fn($port) => $port[0] + 1, $base) . '/';
const VOLTAGE = '/Feeder1/VoltageA';
const SETPOINT = '/Feeder1/NominalVoltage';

function fail(string $text): never
{
    fwrite(STDERR, "$text\n");
    exit(1);
}

// What cannot be had is an error string in place of the value: "? 9 Node Not Found : ...".
function good(?string $text): string
{
    if (str_starts_with($text ?? '', '?')) {
        fail("The service says: $text");
    }
    return $text ?? '';
}

function wait_for(string $what, callable $ask): mixed
{
    for ($tries = 0; $tries < 40; ++$tries) {
        if ($answer = $ask()) {
            return $answer;
        }
        usleep(500_000);
    }
    fail("There is still no $what after 20 seconds.");
}

try {
    $service = new SoapClient("$base/dravixd.wsdl", [
        // Reading takes no user, writing does.
        'login' => 'operator', 'password' => 'operator',
        // A list of one is a list too. Without this it would be its only item.
        'features' => SOAP_SINGLE_ELEMENT_ARRAYS,
        'cache_wsdl' => WSDL_CACHE_NONE, 'connection_timeout' => 5,
    ]);
    // Microseconds since 1970, as all times.
    $since = $service->getLocalAndUtcTime([])->utcTime;

    echo "== Values\n";
    // What a request leaves out counts as empty.
    [$voltage, $units, $name] = array_map('good', $service->getValues([
        'options' => 'precision=6;locale=de-DE',
        'paths' => ['string' => [VOLTAGE, VOLTAGE . ':Units', VOLTAGE . ':DisplayName']],
    ])->getValuesResult);
    echo "$name: $voltage $units\n";
    $before = good($service->getValue(['path' => SETPOINT])->getValueResult);
    // The answer to a write is the value as it is then. A supply of 200 V makes alarms, see below.
    $now = good($service->setValue(['path' => SETPOINT, 'value' => '200'])->setValueResult);
    echo SETPOINT . " was $before, is $now\n";

    echo "== Subscription\n";
    $values = $service->createSubscription([
        'subscriptionId' => 'tour-php', 'replyUri' => $subscriber, 'leaseDuration' => 600_000,
        'realTimeNodes' => ['NodeSubscription' => [
            ['Path' => VOLTAGE, 'RequestedFreshness' => 2000, 'DeadbandPercent' => 0.5], // at most every 2 s
        ]],
        'subscribeLogOptions' => 'Alarm', // more than one: 'Alarm Trend'
    ])->createSubscriptionResult->RealTimeNodeSubscriptionResult;
    // The points' values as they are; those that follow are sent to the replyUri.
    echo 'Value now: ' . good($values[0]->Value) . "\n";
    $nodes = $service->getSubscribedNodes(['subscriptionId' => 'tour-php'])->getSubscribedNodesResult;
    echo 'Subscribed to: ' . implode(' ', array_map('good', $nodes)) . "\n";

    echo "== Alarms\n";
    // The WSDL asks for a type in each of these requests; here it has no effect.
    $request = ['rqstType' => 'LgRqTypAlarmEvents', 'startTime' => $since];
    $alarms = fn() => $service->getActiveAlarms(['request' => $request])->alarms ?? [];
    $requests = [];
    foreach (wait_for('active alarm', $alarms) as $alarm) {
        echo "$alarm->EventId: $alarm->SourcePath $alarm->Description, $alarm->Value\n";
        $requests[] = ['EventId' => $alarm->EventId, 'Status' => 'Acked', 'Note' => 'seen by tour.php'];
    }
    // No news is good news: the answer has a text only for what went wrong.
    $errors = $service->acknowledgeAlarm(['requests' => ['AckRequest' => $requests]]);
    array_map('good', $errors->acknowledgeAlarmResult ?? []);

    $url = wait_for('waveform record', function () use ($service, $request) {
        $log = $service->getEventLog(['request' => $request]);
        good($log->result);
        foreach ($log->events ?? [] as $event) {
            if (isset($event->ComtradeWaveformUrls)) {
                return $event->ComtradeWaveformUrls->string[0];
            }
        }
        return null;
    });

    echo "== Waveform $url\n";
    $config = $service->getWaveformConfig(['url' => $url]);
    good($config->result);
    $channels = $config->analogChannelNames;
    printf("%d samples at %g Hz of %s\n", $config->numberSamples, $config->samplingRate, implode(' ', $channels));
    $samples = $service->getWaveformData(['request' => ['url' => $url, 'channel' => $channels[0]]]);
    good($samples->result);
    printf("%s goes from %.1f to %.1f\n", $channels[0], min($samples->data), max($samples->data));

    good($service->setValue(['path' => SETPOINT, 'value' => $before])->setValueResult);
    // An alarm that was acknowledged is closed when its cause is gone.
    wait_for('end of the alarms', fn() => array_unique(array_column($alarms(), 'AckStatus')) === ['Closed']);
    echo '== ' . SETPOINT . " is $before again, the alarms are over\n";

    echo "== Trend of the power, by quarters of an hour: when, least, average, most\n";
    $trend = $service->getTrendData(['request' => [
        'devicePath' => '/Feeder1', 'pointPaths' => ['/Feeder1/PowerTotal'], 'periods' => [3], 'nMaxToReturn' => 4,
    ]]);
    good($trend->result);
    foreach ($trend->data->samples as $snapshot) {
        $power = $snapshot->data[0];
        printf(
            "%s %8.3f %8.3f %8.3f  %g %% valid\n",
            date('H:i', intdiv($snapshot->timestamp, 1_000_000)),
            $power->min, $power->avg, $power->max, $snapshot->{'percent-valid'},
        );
    }

    echo '== Device command: the harmonics of ' . VOLTAGE . "\n";
    $sent = $service->sendDeviceCmd(['devPath' => '/Feeder1', 'cmd' => [
        'cmdVersion' => 1,
        'cmdBasic' => ['name' => 'Harmonics', 'param' => 'VoltageA'],
    ]]);
    good($sent->result);
    $result = wait_for('result of the command', function () use ($service, $sent) {
        // Until the device has answered there is no result under the handle, or a pending one.
        $result = $service->getDeviceCmdResult(['devPath' => '/Feeder1', 'cmdHandle' => $sent->cmdHandle]);
        return in_array($result->numericStatus, ['cmdFailHandle', 'cmdPending']) ? null : $result;
    });
    good($result->result);
    if ($result->numericStatus !== 'cmdSuccess') {
        fail("The device says: $result->cmdStatus");
    }
    foreach ($result->cmdResults->resHarms->hData as $harmonic) {
        if ($harmonic->magnitude > 0.1) {
            printf("%5d Hz %8.2f V at %.1f degrees\n", $harmonic->frequency, $harmonic->magnitude, $harmonic->phase);
        }
    }

    $service->cancelSubscription(['subscriptionId' => 'tour-php']);
    echo "== The subscription is cancelled\n";
} catch (SoapFault $fault) {
    // "WSDL" when there is no server, "HTTP" when it is gone, else the service's own fault.
    fail("$base: $fault->faultcode: $fault->faultstring");
}
