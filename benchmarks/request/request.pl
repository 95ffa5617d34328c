#!/usr/bin/perl
# The same job in Perl.
use strict;
use warnings;
use Cwd;
use Fcntl qw(:DEFAULT :flock);
use IO::Handle;
use Time::HiRes qw(clock_gettime CLOCK_MONOTONIC);

my $file = "settings_xml.txt";

sub decode {
    return $_[0] =~ s/%([0-9A-Fa-f]{2})/chr(hex($1))/ger;
}

sub save {
    my ($settings) = @_;
    my $temporary = sprintf(".%s.saving-%016x", $file, clock_gettime(CLOCK_MONOTONIC) * 1e9);
    sysopen(my $handle, $temporary, O_WRONLY | O_CREAT | O_EXCL, 0600) or die;
    flock($handle, LOCK_EX | LOCK_NB) or die;
    my $text = join "", map { "  <$_>$settings->{$_}</$_>\n" } sort keys %$settings;
    syswrite $handle, "<Settings>\n$text</Settings>\n";
    chmod((stat $file)[2] & 0777, $handle);
    $handle->sync or die;
    rename $temporary, $file or die;
    sysopen(my $parent, ".", O_RDONLY) or die;
    $parent->sync or die;
}

sub is_running {
    my ($name) = @_;
    opendir(my $processes, "/proc") or return 0;
    for my $id (grep { /^\d+$/ } readdir $processes) {
        sysopen(my $command, "/proc/$id/cmdline", O_RDONLY) or next;
        sysread $command, my $line, 256;
        return 1 if ($line // "") =~ /^(?:[^\0]*\/)?\Q$name\E(?:\0|$)/;
    }
    return 0;
}

sub restart {
    open(my $marker, "<", "pid.cgi") or return "false";
    my ($name) = getcwd() =~ m{/([^/]+)/html$} or return "false";
    return "false" if index(join("", <$marker>), $name) < 0;
    return "stopped" unless is_running($name);
    return system("killall", "-SIGUSR1", $name) == 0 ? "restarted" : "running";
}

sysread STDIN, my $form, $ENV{CONTENT_LENGTH};
my %settings;
for my $field (split /&/, $form) {
    my ($name, $value) = split /=/, $field, 2;
    $settings{decode(lc $name)} //= decode($value);
}
save(\%settings);
my ($page, $query) = split /\?/, $ENV{HTTP_REFERER}, 2;
my @parameters = grep { !/^success=/ } split /&/, $query;
syswrite STDOUT, "Location: $page?" . join("&", @parameters, "success=" . restart()) . "\r\n\r\n";
