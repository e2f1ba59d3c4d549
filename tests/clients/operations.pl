#!/usr/bin/perl
# The driver for SOAP::Lite, which takes nothing from the WSDL: see toolkits.
use strict;
use warnings;
use JSON::PP;
use SOAP::Lite;

my $user = $ENV{CLIENT_USER};
my $endpoint = $ENV{CLIENT_WSDL} =~ s/\?.*//r;
binmode STDOUT, ':encoding(UTF-8)';

sub elements {
    my ($name, $value) = @_;
    return map { elements($name, $_) } @$value if ref $value eq 'ARRAY';
    $value = \SOAP::Data->value(map { elements($_, $value->{$_}) } sort keys %$value) if ref $value eq 'HASH';
    $value = $value ? 'true' : 'false' if JSON::PP::is_bool($value);
    # Without types the text goes out as it stands.
    return SOAP::Data->name($name => SOAP::Utils::encode_data($value));
}

sub texts {
    my ($value) = @_;
    return map { texts($_) } @$value if ref $value eq 'ARRAY';
    return map { texts($value->{$_}) } sort keys %$value if ref $value;
    return defined $value ? ($value) : ();
}

while (my $line = <STDIN>) {
    my ($namespace, $operation, $arguments) = split /\t/, $line;
    my $proxy = SOAP::Lite->proxy($endpoint)->autotype(0);
    # The password goes with every request, without being asked for.
    $proxy->transport->http_request->authorization_basic($user, $user) if $user;
    # Unqualified children in one half of the namespaces, qualified ones in the other.
    $proxy = $namespace =~ /(VK|C3)$/ ? $proxy->ns($namespace, 'v') : $proxy->default_ns($namespace);
    my $answer = eval {
        my $given = decode_json($arguments);
        my $som = $proxy->call($operation, map { elements($_, $given->{$_}) } sort keys %$given);
        $som->fault ? 'FAULT ' . $som->faultstring : join ' ', texts([$som->paramsall]);
    } // "FAULT $@";
    print "$operation\t", $answer =~ s/\n/ /gr, "\n";
}
