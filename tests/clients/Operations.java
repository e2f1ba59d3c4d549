import java.io.*;
import java.lang.reflect.*;
import java.net.URL;
import java.util.*;
import javax.jws.*;
import javax.xml.bind.annotation.XmlElement;
import javax.xml.parsers.DocumentBuilderFactory;
import javax.xml.ws.*;
import org.w3c.dom.*;
import org.xml.sax.InputSource;
import tarnix.*;

/** The driver for a client that wsimport has made: see toolkits. */
public class Operations {
    static List<Element> children(Element parent, String name) {
        List<Element> found = new ArrayList<>();
        for (Node node = parent.getFirstChild(); node != null; node = node.getNextSibling()) {
            if (node.getNodeName().equals(name)) {
                found.add((Element) node);
            }
        }
        return found;
    }

    /** What the children of that name are, in the type that the client has for it. */
    static Object build(Type type, Element parent, String name) throws Exception {
        List<Element> given = children(parent, name);
        if (type instanceof ParameterizedType) {
            Type item = ((ParameterizedType) type).getActualTypeArguments()[0];
            if (((ParameterizedType) type).getRawType() == Holder.class) {
                return new Holder<>(build(item, parent, name));
            }
            List<Object> list = new ArrayList<>();
            for (Element element : given) {
                list.add(build((Class<?>) item, element));
            }
            return list;
        }
        return given.isEmpty() ? null : build((Class<?>) type, given.get(0));
    }

    static Object build(Class<?> type, Element element) throws Exception {
        String text = element.getTextContent();
        if (type.isEnum()) {
            return type.getMethod("fromValue", String.class).invoke(null, text);
        }
        if (type == String.class || type.getName().startsWith("java.")) {
            return type.getConstructor(String.class).newInstance(text);
        }
        Object bean = type.getConstructor().newInstance();
        for (Field field : type.getDeclaredFields()) {
            XmlElement named = field.getAnnotation(XmlElement.class);
            String name = named == null || named.name().startsWith("#") ? field.getName() : named.name();
            field.setAccessible(true);
            if (!children(element, name).isEmpty()) {
                field.set(bean, build(field.getGenericType(), element, name));
            }
        }
        return bean;
    }

    static void addTexts(Object value, List<String> texts) throws Exception {
        if (value instanceof Holder) {
            addTexts(((Holder<?>) value).value, texts);
        } else if (value instanceof List) {
            for (Object item : (List<?>) value) {
                addTexts(item, texts);
            }
        } else if (value instanceof Enum) {
            texts.add((String) value.getClass().getMethod("value").invoke(value));
        } else if (value != null && value.getClass().getName().startsWith("tarnix.")) {
            for (Class<?> type = value.getClass(); type != Object.class; type = type.getSuperclass()) {
                for (Field field : type.getDeclaredFields()) {
                    field.setAccessible(true);
                    addTexts(field.get(value), texts);
                }
            }
        } else if (value != null) {
            texts.add(value.toString());
        }
    }

    static String call(TarnixPort port, Method method, Element request) throws Exception {
        List<Object> arguments = new ArrayList<>();
        List<String> texts = new ArrayList<>();
        List<Object> answers = new ArrayList<>();
        for (Parameter parameter : method.getParameters()) {
            WebParam about = parameter.getAnnotation(WebParam.class);
            Object argument = about.mode() == WebParam.Mode.OUT
                ? new Holder<>() : build(parameter.getParameterizedType(), request, about.name());
            arguments.add(argument);
            if (argument instanceof Holder) {
                answers.add(argument);
            }
        }
        try {
            answers.add(method.invoke(port, arguments.toArray()));
        } catch (InvocationTargetException failure) {
            return "FAULT " + failure.getCause().getMessage();
        }
        addTexts(answers, texts);
        return String.join(" ", texts);
    }

    public static void main(String[] unused) throws Exception {
        TarnixPort port = new Tarnix(new URL(System.getenv("CLIENT_WSDL"))).getTarnixSoap();
        String user = System.getenv("CLIENT_USER");
        if (!user.isEmpty()) {
            // The password goes with every request, without being asked for.
            Map<String, Object> context = ((BindingProvider) port).getRequestContext();
            context.put(BindingProvider.USERNAME_PROPERTY, user);
            context.put(BindingProvider.PASSWORD_PROPERTY, user);
        }
        PrintStream out = new PrintStream(System.out, true, "UTF-8");
        BufferedReader in = new BufferedReader(new InputStreamReader(System.in, "UTF-8"));
        for (String line = in.readLine(); line != null; line = in.readLine()) {
            String[] parts = line.split("\t");
            Element request = DocumentBuilderFactory.newInstance().newDocumentBuilder()
                .parse(new InputSource(new StringReader(parts[3]))).getDocumentElement();
            for (Method method : TarnixPort.class.getMethods()) {
                String name = method.getAnnotation(WebMethod.class).operationName();
                if ((name.isEmpty() ? method.getName() : name).equals(parts[1])) {
                    out.println(parts[1] + "\t" + call(port, method, request).replace('\n', ' '));
                }
            }
        }
    }
}
