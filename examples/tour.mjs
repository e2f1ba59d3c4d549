// A tour of the service with npm's soap. Start ./demo, install the package as README.md says, then
//
//   node tour.mjs [http://127.0.0.1:8080]

import soap from 'soap';

const base = process.argv[2] ?? `http://127.0.0.1:${process.env.PORT ?? 8080}`;
// The demo has a subscriber on the port behind its own. It prints into the demo's terminal.
const subscriber = base.replace(/\d+$/, (port) => Number(port) + 1) + '/';
const voltage = '/Feeder1/VoltageA';
const setpoint = '/Feeder1/NominalVoltage';

// What cannot be had is an error string in place of the value: "? 9 Node Not Found : ...".
function good(text) {
    if (text?.startsWith?.('?')) {
        throw new Error(`The service says: ${text}`);
    }
    return text;
}

const short = (number) => Number(number.toPrecision(6));

async function waitFor(what, ask) {
    for (let tries = 0; tries < 40; ++tries) {
        const answer = await ask();
        if (answer) {
            return answer;
        }
        await new Promise((resolve) => setTimeout(resolve, 500));
    }
    throw new Error(`There is still no ${what} after 20 seconds.`);
}

async function connect() {
    const client = await soap.createClientAsync(`${base}/ws?wsdl`);
    // Reading takes no user, writing does. The password goes with every request, without being asked for.
    client.setSecurity(new soap.BasicAuthSecurity('operator', 'operator'));
    // An answer of which nothing is left is null.
    return async (operation, request) => (await client[`${operation}Async`](request))[0] ?? {};
}

async function readAndWrite(call) {
    console.log('== Values');
    // What a request leaves out counts as empty. A list has an element for its items: paths, and in it string.
    const paths = { string: [voltage, `${voltage}:Units`, `${voltage}:DisplayName`] };
    const { getValuesResult: texts } = await call('getValues', { options: 'precision=6;locale=de-DE', paths });
    const [value, units, name] = texts.map(good);
    console.log(`${name}: ${value} ${units}`);
    const before = good((await call('getValue', { path: setpoint })).getValueResult);
    // The answer to a write is the value as it is then. A supply of 200 V makes alarms, see below.
    const { setValueResult: now } = await call('setValue', { path: setpoint, value: '200' });
    console.log(`${setpoint} was ${before}, is ${good(now)}`);
    return before;
}

async function subscribe(call) {
    console.log('== Subscription');
    const node = { Path: voltage, RequestedFreshness: 2000, DeadbandPercent: 0.5 }; // at most every 2 s
    const { createSubscriptionResult: values } = await call('createSubscription', {
        subscriptionId: 'tour-mjs', replyUri: subscriber, leaseDuration: 600_000,
        realTimeNodes: { NodeSubscription: [node] }, subscribeLogOptions: 'Alarm', // more than one: 'Alarm Trend'
    });
    // The points' values as they are; those that follow are sent to the replyUri.
    console.log('Value now:', good(values.RealTimeNodeSubscriptionResult[0].Value));
    const { getSubscribedNodesResult: nodes } = await call('getSubscribedNodes', { subscriptionId: 'tour-mjs' });
    console.log('Subscribed to:', ...nodes.map(good));
}

async function alarms(call, request) {
    console.log('== Alarms');
    const active = await waitFor('active alarm', async () => (await call('getActiveAlarms', { request })).alarms);
    for (const alarm of active) {
        console.log(`${alarm.EventId}: ${alarm.SourcePath} ${alarm.Description}, ${alarm.Value}`);
    }
    // No news is good news: the answer has a text only for what went wrong.
    const AckRequest = active.map(({ EventId }) => ({ EventId, Note: 'seen by tour.mjs', Status: 'Acked' }));
    const { acknowledgeAlarmResult: errors } = await call('acknowledgeAlarm', { requests: { AckRequest } });
    errors?.forEach(good);
    return waitFor('waveform record', async () => {
        const { result, events } = await call('getEventLog', { request });
        good(result);
        return events?.find((event) => event.ComtradeWaveformUrls)?.ComtradeWaveformUrls.string[0];
    });
}

async function waveform(call, url) {
    console.log('== Waveform', url);
    const { result, numberSamples, samplingRate, analogChannelNames: channels } = await call('getWaveformConfig', { url });
    good(result);
    console.log(`${numberSamples} samples at ${short(samplingRate)} Hz of`, ...channels);
    const samples = await call('getWaveformData', { request: { url, channel: channels[0] } });
    good(samples.result);
    console.log(`${channels[0]} goes from ${Math.min(...samples.data).toFixed(1)} to ${Math.max(...samples.data).toFixed(1)}`);
}

async function restore(call, before, request) {
    good((await call('setValue', { path: setpoint, value: before })).setValueResult);
    // An alarm that was acknowledged is closed when its cause is gone.
    await waitFor('end of the alarms', async () =>
        (await call('getActiveAlarms', { request })).alarms.every((alarm) => alarm.AckStatus === 'Closed'));
    console.log(`== ${setpoint} is ${before} again, the alarms are over`);
}

async function trends(call) {
    console.log('== Trend of the power, by quarters of an hour: when, least, average, most');
    const { result, data } = await call('getTrendData', {
        request: { devicePath: '/Feeder1', pointPaths: ['/Feeder1/PowerTotal'], periods: [3], nMaxToReturn: 4 },
    });
    good(result);
    for (const { timestamp, 'percent-valid': valid, data: [power] } of data.samples) {
        // Times are microseconds since 1970.
        const when = new Date(timestamp / 1000).toTimeString().slice(0, 5);
        const numbers = [power.min, power.avg, power.max].map((number) => number.toFixed(3).padStart(8));
        console.log(when, ...numbers, ` ${short(valid)} % valid`);
    }
}

async function command(call) {
    console.log('== Device command: the harmonics of', voltage);
    const sent = await call('sendDeviceCmd', {
        devPath: '/Feeder1', cmd: { cmdVersion: 1, cmdBasic: { name: 'Harmonics', param: 'VoltageA' } },
    });
    good(sent.result);
    const answer = await waitFor('result of the command', async () => {
        // Until the device has answered there is no result under the handle, or a pending one.
        const result = await call('getDeviceCmdResult', { devPath: '/Feeder1', cmdHandle: sent.cmdHandle });
        return ['cmdFailHandle', 'cmdPending'].includes(result.numericStatus) ? null : result;
    });
    good(answer.result);
    if (answer.numericStatus !== 'cmdSuccess') {
        throw new Error(`The device says: ${answer.cmdStatus}`);
    }
    for (const { frequency, magnitude, phase } of answer.cmdResults.resHarms.hData) {
        if (magnitude > 0.1) {
            console.log(`${String(frequency).padStart(5)} Hz ${magnitude.toFixed(2).padStart(8)} V at ${phase.toFixed(1)} degrees`);
        }
    }
}

try {
    const call = await connect();
    const since = (await call('getLocalAndUtcTime', {})).utcTime;
    // The WSDL asks for a type in each of these requests; for the active alarms it has no effect.
    const request = { rqstType: 'LgRqTypAlarmEvents', startTime: since };
    const before = await readAndWrite(call);
    await subscribe(call);
    await waveform(call, await alarms(call, request));
    await restore(call, before, request);
    await trends(call);
    await command(call);
    await call('cancelSubscription', { subscriptionId: 'tour-mjs' });
    console.log('== The subscription is cancelled');
} catch (error) {
    // No server, an HTTP status, or the service's own fault.
    console.error(`${base}: ${error.message}`);
    process.exitCode = 1;
}
