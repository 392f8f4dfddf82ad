#!/usr/bin/env bash
# Second opinion on the MD2 rows of own_digest_vectors.tsv: recomputes them with Perl's
# Digest::MD2 and Digest::HMAC (Debian libdigest-md2-perl, libdigest-hmac-perl) and prints
# any row that disagrees. Exit status 0 when all agree.
set -euo pipefail
cd "$(dirname "$0")"
perl -MDigest::MD2 -MDigest::HMAC -ne '
    next if /^#/;
    chomp; my ($alg, $n, $k, $want) = split /\t/;
    next unless $alg eq "md2" || $alg eq "hmac-md2";
    my $msg = join "", map { chr((31 * $_ + 7) % 256) } 0 .. $n - 1;
    my $got;
    if ($alg eq "md2") { $got = Digest::MD2::md2_hex($msg); }
    else {
        my $key = join "", map { chr((13 * $_ + 1) % 256) } 0 .. $k - 1;
        $got = Digest::HMAC->new($key, "Digest::MD2", 16)->add($msg)->hexdigest;
    }
    if ($got ne $want) { print "MISMATCH $alg $n $k: $got vs $want\n"; $bad = 1; }
    $count++;
    END { print "checked $count md2 rows\n"; exit($bad ? 1 : 0); }
' own_digest_vectors.tsv
