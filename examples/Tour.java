import java.math.BigInteger;
import java.net.URI;
import java.net.URL;
import java.time.Instant;
import java.time.ZoneId;
import java.time.format.DateTimeFormatter;
import java.util.Collections;
import java.util.List;
import java.util.Map;
import java.util.stream.Collectors;
import javax.xml.ws.BindingProvider;
import javax.xml.ws.Holder;
import javax.xml.ws.WebServiceException;
import tarnix.*;

/**
 * A tour of the service with the classes that wsimport makes of the WSDL (Debian: libjaxws-java). Start ./demo, make them
 * as README.md says, then
 *
 * <pre>java -cp /usr/share/java/jaxws-rt.jar:CLASSES examples/Tour.java [http://127.0.0.1:8080]</pre>
 */
public class Tour {
    static final String VOLTAGE = "/Feeder1/VoltageA";
    static final String SETPOINT = "/Feeder1/NominalVoltage";

    interface Question<T> {
        /** Null as long as there is no answer. */
        T ask();
    }

    static RuntimeException fail(String text) {
        System.err.println(text);
        System.exit(1);
        return new IllegalStateException(text);
    }

    /** What cannot be had is an error string in place of the value: "? 9 Node Not Found : ...". */
    static String good(String text) {
        if (text != null && text.startsWith("?")) {
            throw fail("The service says: " + text);
        }
        return text;
    }

    static <T> T waitFor(String what, Question<T> question) throws InterruptedException {
        for (int tries = 0; tries < 40; ++tries) {
            T answer = question.ask();
            if (answer != null) {
                return answer;
            }
            Thread.sleep(500);
        }
        throw fail("There is still no " + what + " after 20 seconds.");
    }

    static TarnixPort connect(String base) throws Exception {
        TarnixPort service = new Tarnix(new URL(base + "/ws?wsdl")).getTarnixSoap();
        // Reading takes no user, writing does. The password goes with every request, without being asked for.
        Map<String, Object> context = ((BindingProvider) service).getRequestContext();
        context.put(BindingProvider.USERNAME_PROPERTY, "operator");
        context.put(BindingProvider.PASSWORD_PROPERTY, "operator");
        return service;
    }

    static String readAndWrite(TarnixPort service) {
        System.out.println("== Values");
        // Null is left out, and counts as empty. Classes of the same name in two namespaces have a number.
        ArrayOfString2 paths = new ArrayOfString2();
        Collections.addAll(paths.getString(), VOLTAGE, VOLTAGE + ":Units", VOLTAGE + ":DisplayName");
        List<String> texts = service.getValues("precision=6;locale=de-DE", paths);
        texts.forEach(Tour::good);
        System.out.println(texts.get(2) + ": " + texts.get(0) + " " + texts.get(1));
        String before = good(service.getValue(null, SETPOINT));
        // The answer to a write is the value as it is then. A supply of 200 V makes alarms, see below.
        System.out.println(SETPOINT + " was " + before + ", is " + good(service.setValue(null, SETPOINT, "200")));
        return before;
    }

    static void subscribe(TarnixPort service, String subscriber) {
        System.out.println("== Subscription");
        NodeSubscription node = new NodeSubscription();
        node.setPath(VOLTAGE);
        node.setRequestedFreshness(2000); // at most every 2 s
        node.setDeadbandPercent(0.5);
        ArrayOfNodeSubscription nodes = new ArrayOfNodeSubscription();
        nodes.getNodeSubscription().add(node);
        // The points' values as they are; those that follow are sent to the subscriber.
        ArrayOfRealTimeNodeSubscriptionResult values =
            service.createSubscription(null, "tour-java", subscriber, 600_000, nodes, null, List.of("Alarm"));
        for (RealTimeNodeSubscriptionResult value : values.getRealTimeNodeSubscriptionResult()) {
            System.out.println("Value now: " + good(value.getValue()));
        }
        System.out.println("Subscribed to: " + service.getSubscribedNodes("tour-java"));
    }

    /** The type has no effect on the active alarms, but the WSDL asks for it. */
    static LogRetrieveRequest request(long since) {
        LogRetrieveRequest request = new LogRetrieveRequest();
        request.setRqstType(LogRqstType.LG_RQ_TYP_ALARM_EVENTS);
        request.setStartTime(since);
        return request;
    }

    /** What an operation answers in several parts comes in holders. */
    static List<AlarmUpdate> activeAlarms(TarnixPort service, long since) {
        Holder<String> result = new Holder<>();
        Holder<List<AlarmUpdate>> alarms = new Holder<>();
        service.getActiveAlarms(request(since), result, new Holder<>(), alarms);
        good(result.value);
        return alarms.value == null ? List.of() : alarms.value;
    }

    static String recorded(TarnixPort service, long since) {
        Holder<String> result = new Holder<>();
        Holder<List<Event>> events = new Holder<>();
        service.getEventLog(request(since), result, new Holder<>(), events);
        good(result.value);
        return events.value == null ? null : events.value.stream()
            .filter(event -> event.getComtradeWaveformUrls() != null)
            .map(event -> event.getComtradeWaveformUrls().getString().get(0)).findFirst().orElse(null);
    }

    static String alarms(TarnixPort service, long since) throws InterruptedException {
        System.out.println("== Alarms");
        ArrayOfAckRequest requests = new ArrayOfAckRequest();
        List<AlarmUpdate> active = waitFor("active alarm", () -> {
            List<AlarmUpdate> alarms = activeAlarms(service, since);
            return alarms.isEmpty() ? null : alarms;
        });
        for (AlarmUpdate alarm : active) {
            System.out.println(alarm.getEventId() + ": " + alarm.getSourcePath() + " " + alarm.getDescription()
                + ", " + alarm.getValue());
            AckRequest acknowledgement = new AckRequest();
            acknowledgement.setEventId(alarm.getEventId());
            acknowledgement.setStatus(AckStatus2.ACKED);
            acknowledgement.setNote("seen by Tour.java");
            requests.getAckRequest().add(acknowledgement);
        }
        // No news is good news: the answer has a text only for what went wrong.
        service.acknowledgeAlarm(requests).forEach(Tour::good);
        return waitFor("waveform record", () -> recorded(service, since));
    }

    static void waveform(TarnixPort service, String url) {
        System.out.println("== Waveform " + url);
        Holder<String> result = new Holder<>();
        Holder<Double> rate = new Holder<>();
        Holder<Integer> count = new Holder<>();
        Holder<List<String>> channels = new Holder<>();
        service.getWaveformConfig(null, url, result, new Holder<>(), new Holder<>(), new Holder<>(), new Holder<>(), rate,
            count, new Holder<>(), new Holder<>(), new Holder<>(), channels, new Holder<>());
        good(result.value);
        System.out.printf("%d samples at %.0f Hz of %s%n", count.value, rate.value, String.join(" ", channels.value));

        GetWaveDataRequest request = new GetWaveDataRequest();
        request.setUrl(url);
        request.setChannel(channels.value.get(0));
        Holder<List<Double>> samples = new Holder<>();
        service.getWaveformData(request, result, rate, new Holder<>(), new Holder<>(), new Holder<>(), samples);
        good(result.value);
        System.out.printf("%s goes from %.1f to %.1f%n", request.getChannel(), Collections.min(samples.value),
            Collections.max(samples.value));
    }

    static void restore(TarnixPort service, String setpoint, long since) throws InterruptedException {
        good(service.setValue(null, SETPOINT, setpoint));
        // An alarm that was acknowledged is closed when its cause is gone.
        waitFor("end of the alarms", () -> activeAlarms(service, since).stream()
            .allMatch(alarm -> alarm.getAckStatus() == AckStatus.CLOSED) ? true : null);
        System.out.println("== " + SETPOINT + " is " + setpoint + " again, the alarms are over");
    }

    static void trends(TarnixPort service) {
        System.out.println("== Trend of the power, by quarters of an hour: when, least, average, most");
        GetTrendDataRequest request = new GetTrendDataRequest();
        request.setDevicePath("/Feeder1");
        request.getPointPaths().add("/Feeder1/PowerTotal");
        request.getPeriods().add(BigInteger.valueOf(3));
        request.setNMaxToReturn(4);
        Holder<String> result = new Holder<>();
        Holder<StDeviceData> data = new Holder<>();
        service.getTrendData(request, result, data);
        good(result.value);
        for (StSnapshot snapshot : data.value.getSamples()) {
            StSample power = snapshot.getData().get(0);
            // Times are microseconds since 1970.
            String when = DateTimeFormatter.ofPattern("HH:mm").withZone(ZoneId.systemDefault())
                .format(Instant.ofEpochSecond(snapshot.getTimestamp() / 1_000_000));
            System.out.printf("%s %8.3f %8.3f %8.3f  %.0f %% valid%n", when, power.getMin(), power.getAvg(), power.getMax(),
                snapshot.getPercentValid());
        }
    }

    static void command(TarnixPort service) throws InterruptedException {
        System.out.println("== Device command: the harmonics of " + VOLTAGE);
        SimpleCmd basic = new SimpleCmd();
        basic.setName("Harmonics");
        basic.setParam("VoltageA");
        SendCmdS command = new SendCmdS();
        command.setCmdVersion(1);
        command.setCmdBasic(basic);
        Holder<String> result = new Holder<>();
        Holder<Integer> handle = new Holder<>();
        service.sendDeviceCmd(null, "/Feeder1", command, result, handle);
        good(result.value);

        Holder<CmdNumStatus> status = new Holder<>();
        Holder<String> says = new Holder<>();
        Holder<CmdResultS> results = new Holder<>();
        waitFor("result of the command", () -> {
            // Until the device has answered there is no result under the handle, or a pending one.
            service.getDeviceCmdResult(null, "/Feeder1", new Holder<>(handle.value), result, status, says, results);
            return List.of(CmdNumStatus.CMD_FAIL_HANDLE, CmdNumStatus.CMD_PENDING).contains(status.value) ? null : status;
        });
        good(result.value);
        if (status.value != CmdNumStatus.CMD_SUCCESS) {
            throw fail("The device says: " + says.value);
        }
        for (HarmonicS harmonic : results.value.getResHarms().getHData()) {
            if (harmonic.getMagnitude() > 0.1) {
                System.out.printf("%5d Hz %8.2f V at %.1f degrees%n", harmonic.getFrequency(), harmonic.getMagnitude(),
                    harmonic.getPhase());
            }
        }
    }

    public static void main(String[] arguments) throws Exception {
        String port = System.getenv().getOrDefault("PORT", "8080");
        URI base = URI.create(arguments.length > 0 ? arguments[0] : "http://127.0.0.1:" + port);
        // The demo has a subscriber on the port behind its own. It prints into the demo's terminal.
        String subscriber = "http://" + base.getHost() + ":" + (base.getPort() + 1) + "/";
        try {
            TarnixPort service = connect(base.toString());
            Holder<Long> now = new Holder<>();
            service.getLocalAndUtcTime(null, new Holder<>(), now, new Holder<>(), new Holder<>());
            String setpoint = readAndWrite(service);
            subscribe(service, subscriber);
            waveform(service, alarms(service, now.value));
            restore(service, setpoint, now.value);
            trends(service);
            command(service);
            service.cancelSubscription("tour-java");
            System.out.println("== The subscription is cancelled");
        } catch (WebServiceException failure) {
            // No server, an HTTP status, or the service's own fault.
            throw fail(base + ": " + failure.getMessage());
        }
    }
}
