#!/usr/bin/perl
# The same job in Perl.
use strict;
use warnings;
use Fcntl;
use IO::Handle;
use Cwd;

my $file = "settings_xml.txt";

sub decode {
    my ($text) = @_;
    $text =~ s/%([0-9A-Fa-f]{2})/chr(hex($1))/ge;
    return $text;
}

sub save {
    my ($settings) = @_;
    my $text = "<Settings>\n";
    $text .= "  <$_>$settings->{$_}</$_>\n" for sort keys %$settings;
    $text .= "</Settings>\n";
    opendir(my $directory, ".") or die;
    for my $name (readdir $directory) {
        unlink $name if $name =~ /^\Q$file\E\.(\d+)$/ && !kill(0, $1);
    }
    closedir $directory;
    sysopen(my $sibling, "$file.$$", O_WRONLY | O_CREAT | O_EXCL) or die;
    syswrite $sibling, $text;
    $sibling->sync;
    rename "$file.$$", $file or die;
    close $sibling;
}

sub is_running {
    my ($name) = @_;
    opendir(my $processes, "/proc") or return 0;
    for my $id (grep { /^\d+$/ } readdir $processes) {
        sysopen(my $command, "/proc/$id/cmdline", O_RDONLY) or next;
        sysread $command, my $line, 256;
        close $command;
        return 1 if ($line // "") =~ /^(?:[^\0]*\/)?\Q$name\E(?:\0|$)/;
    }
    return 0;
}

sub restart {
    open(my $marker, "<", "pid.cgi") or return "false";
    my $mentioned = join "", <$marker>;
    my ($name) = getcwd() =~ m{/([^/]+)/html$} or return "false";
    return "false" if index($mentioned, $name) < 0;
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
my $status = restart();
my ($page, $query) = split /\?/, $ENV{HTTP_REFERER}, 2;
my %parameters = map { split /=/, $_, 2 } split /&/, $query;
$parameters{success} = $status;
syswrite STDOUT, "Location: $page?" . join("&", map { "$_=$parameters{$_}" } sort keys %parameters) . "\r\n\r\n";
