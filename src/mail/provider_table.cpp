// SPDX-License-Identifier: MIT
// The providers that the set-up knows, ordered by id. The facts (names of servers, ports, domains)
// were collected in November 2026 from the sources that docs/providers.md names; the words are our
// own. A domain that begins with "*." stands for any name before the point.
#include "mail/providers.h"

namespace relaybird {

namespace {

constexpr Security kTls = Security::kTls;
constexpr Security kStartTls = Security::kStartTls;
using enum UserNameForm;
using enum ProviderSignIn;
using enum ProviderTrait;

// clang-format would give each field a line of its own.
// clang-format off
constexpr MailProvider kTable[] = {
    {"123reg", "123 Reg", "123-reg.co.uk", kPassword, kOwnDomains,
     {"imap.123-reg.co.uk", 993, kTls, kAddress}, {"smtp.123-reg.co.uk", 465, kTls, kAddress},
     {}},
    {"a1", "A1 Telekom Austria", "a1.net aon.at", kPassword, 0,
     {"securemail.a1.net", 993, kTls, kAddress}, {"securemail.a1.net", 587, kStartTls, kAddress},
     {}},
    {"active24", "ACTIVE 24", "active24.com smtp.cz", kPassword, kOwnDomains,
     {"email.active24.com", 993, kTls, kAddress}, {"email.active24.com", 465, kTls, kAddress},
     {}},
    {"alice-de", "Alice (O2 Germany)", "alice-dsl.de alice-dsl.net alice.de", kPassword, 0,
     {"imap.alice.de", 993, kTls, kAddress}, {"smtp.alice.de", 587, kStartTls, kAddress}, {}},
    {"alice-it", "Alice (TIM)", "alice.it", kAppPassword, kUncertain,
     {"in.alice.it", 143, kStartTls, kAddress}, {"out.alice.it", 587, kStartTls, kAddress},
     {"https://www.tim.it/assistenza/assistenza-tecnica/mail/guida/casella-posta", "", ""}},
    {"aliyun", "Alibaba Mail (personal)", "aliyun.com", kPassword, kImapOff,
     {"imap.aliyun.com", 993, kTls, kAddress}, {"smtp.aliyun.com", 465, kTls, kAddress}, {}},
    {"aol", "AOL Mail",
     "aim.com aol.co.nz aol.co.uk aol.com aol.com.ar aol.com.au aol.com.br aol.com.mx aol.de "
     "aol.es aol.fr aol.it aol.se compuserve.com cs.com netscape.com netscape.net "
     "wmconnect.com",
     kAppPassword, kOwnDomains | kCodesInGroups,
     {"imap.aol.com", 993, kTls, kAddress}, {"smtp.aol.com", 465, kTls, kAddress},
     {"https://login.aol.com/account/security", "2025-10",
      "AOL allows app passwords to some accounts only, and shows the page for them only in a "
      "browser that you have used there before."}},
    {"aruba", "Aruba", "aruba.it pec.aruba.it", kPassword, kOwnDomains,
     {"imaps.aruba.it", 993, kTls, kAddress}, {"smtps.aruba.it", 465, kTls, kAddress}, {}},
    {"aruba-pec", "Aruba PEC",
     "arubapec.it casellapec.com gigapec.it ingpec.eu mypec.eu pec.cloud pec.it pecditta.com",
     kPassword, 0,
     {"imaps.pec.aruba.it", 993, kTls, kAddress}, {"smtps.pec.aruba.it", 465, kTls, kAddress},
     {"", "",
      "This is a mailbox for certified mail; a forward from it is an ordinary message."}},
    {"att", "AT&T",
     "ameritech.net att.net bellsouth.net currently.com flash.net nvbell.net pacbell.net "
     "prodigy.net sbcglobal.net snet.net swbell.net wans.net",
     kAppPassword, 0,
     {"imap.mail.att.net", 993, kTls, kAddress}, {"smtp.mail.att.net", 465, kTls, kAddress},
     {"https://www.att.com/support/article/email-support/KM1240308", "",
      "AT&T calls the app password a secure mail key."}},
    {"autistici", "Autistici/Inventati", "autistici.org", kPassword, 0,
     {"mail.autistici.org", 993, kTls, kAddress}, {"smtp.autistici.org", 465, kTls, kAddress},
     {}},
    {"azet", "Azet", "azet.sk", kPassword, kUncertain,
     {"imap.azet.sk", 993, kTls, kAddress}, {"smtp.azet.sk", 465, kTls, kAddress}, {}},
    {"bahnhof", "Bahnhof", "bahnhof.se", kPassword, 0,
     {"imap.privat.bahnhof.se", 993, kTls, kAddress},
     {"mailout.privat.bahnhof.se", 465, kTls, kAddress}, {}},
    {"bbox", "Bouygues Bbox", "bbox.fr", kPassword, 0,
     {"imap.bbox.fr", 993, kTls, kAddress}, {"smtp.bbox.fr", 465, kTls, kAddress}, {}},
    {"bell-ca", "Bell Canada", "bell.net sympatico.ca", kPassword, 0,
     {"imap.bell.net", 993, kTls, kAddress}, {"smtphm.sympatico.ca", 587, kStartTls, kAddress},
     {}},
    {"bluewin", "Swisscom Bluewin", "bluemail.ch bluewin.ch", kAppPassword, kUncertain,
     {"imaps.bluewin.ch", 993, kTls, kAddress}, {"smtpauths.bluewin.ch", 465, kTls, kAddress},
     {"https://www.swisscom.ch/en/residential/help/e-mail/conditions.html", "", ""}},
    {"bol", "BOL", "bol.com.br", kPassword, 0,
     {"imap.bol.com.br", 993, kTls, kLocalPart}, {"smtps.bol.com.br", 465, kTls, kLocalPart}, {}},
    {"brighthouse", "Spectrum Bright House",
     "bak.rr.com bham.rr.com brighthouse.com cfl.rr.com emore.rr.com eufala.rr.com "
     "indy.rr.com mi.rr.com panhandle.rr.com tampabay.rr.com",
     kAppPassword, 0,
     {"mail.brighthouse.com", 993, kTls, kAddress}, {"mail.brighthouse.com", 587, kTls, kAddress},
     {"https://www.spectrum.net/support/internet/spectrum-email-server-settings/", "", ""}},
    {"bt", "BT Mail", "btinternet.com btopenworld.com talk21.com", kPassword, 0,
     {"mail.btinternet.com", 993, kTls, kAddress}, {"mail.btinternet.com", 465, kTls, kAddress},
     {}},
    {"centrum-cz", "Centrum.cz", "centrum.cz", kPassword, kUncertain,
     {"imap.centrum.cz", 993, kTls, kAddress}, {"smtp.centrum.cz", 465, kTls, kAddress}, {}},
    {"centurylink", "CenturyLink",
     "centurylink.net centurytel.net clds.net coastalnow.net cochill.net cswnet.com "
     "elpasotel.net emadisonriver.com emadisonriver.net embarqmail.com gallatinriver.net "
     "grics.net gulftel.com madisonriver.biz mebtel.net q.com qwest.net",
     kPassword, 0,
     {"mail.centurylink.net", 993, kTls, kAddress},
     {"smtp.centurylink.net", 587, kStartTls, kAddress}, {}},
    {"cesky-hosting", "Cesky hosting", "thinline.cz", kPassword, kOwnDomains,
     {"mail.cesky-hosting.cz", 993, kTls, kAddress}, {"smtp.cesky-hosting.cz", 465, kTls, kAddress},
     {}},
    {"chello-at", "Magenta Austria (chello)", "chello.at", kPassword, 0,
     {"mail.mymagenta.at", 993, kTls, kAddress}, {"mail.mymagenta.at", 465, kTls, kAddress}, {}},
    {"china-mobile-139", "China Mobile 139", "139.com", kAppPassword, kImapOff | kUncertain,
     {"imap.139.com", 993, kTls, kAddress}, {"smtp.139.com", 465, kTls, kAddress},
     {"https://mail.10086.cn/", "",
      "The password is an authorisation code from the web site."}},
    {"comcast", "Comcast Xfinity", "comcast.net xfinity.com", kPassword, 0,
     {"imap.comcast.net", 993, kTls, kAddress}, {"smtp.comcast.net", 465, kTls, kAddress},
     {"https://www.xfinity.com/support/articles/third-party-email-access", "2025",
      "Allow other mail programs on the Xfinity web site first. Comcast is moving its "
      "mailboxes to Yahoo: if yours has moved, use the servers of Yahoo Mail and an app "
      "password made there."}},
    {"cosmotemail", "Cosmote Mail (Greece)", "cosmotemail.gr", kPassword, kUncertain,
     {"imap.cosmotemail.gr", 993, kTls, kAddress},
     {"mailgate.cosmotemail.gr", 587, kStartTls, kAddress}, {}},
    {"countermail", "CounterMail", "countermail.com", kAppPassword, 0,
     {"imap1.countermail.com", 993, kTls, kAddress}, {"imap1.countermail.com", 465, kTls, kAddress},
     {"https://support.countermail.com/kb/faq.php?id=14", "",
      "CounterMail calls the app password an IMAP key."}},
    {"cox", "Cox (run by Yahoo)", "cox.net", kAppPassword, kCodesInGroups,
     {"imap.mail.yahoo.com", 993, kTls, kAddress}, {"smtp.mail.yahoo.com", 465, kTls, kAddress},
     {"https://login.yahoo.com/account/security", "2024-10",
      "Yahoo runs Cox mailboxes since October 2024: make the app password in the Yahoo "
      "account."}},
    {"cytanet", "Cytanet (Cyprus)", "cablenet.com.cy cytanet.com.cy", kPassword, kUncertain,
     {"mail.cytanet.com.cy", 143, kStartTls, kAddress},
     {"mail-out.cytanet.com.cy", 587, kStartTls, kAddress}, {}},
    {"daum", "Daum, Hanmail", "daum.net hanmail.net", kAppPassword, kImapOff,
     {"imap.daum.net", 993, kTls, kAddress}, {"smtp.daum.net", 465, kTls, kAddress},
     {"https://cs.daum.net/faq/43/9234.html#24081", "2026",
      "Two-step sign-in has to be on before an app password can be made."}},
    {"dismail", "dismail.de", "dismail.de", kPassword, 0,
     {"imap.dismail.de", 993, kTls, kAddress}, {"smtp.dismail.de", 465, kTls, kAddress}, {}},
    {"disroot", "Disroot", "disroot.org", kPassword, 0,
     {"disroot.org", 993, kTls, kLocalPart}, {"disroot.org", 587, kStartTls, kLocalPart}, {}},
    {"domainfactory", "DomainFactory", "ispgateway.de", kPassword, kOwnDomains,
     {"sslin.df.eu", 993, kTls, kAddress}, {"sslout.df.eu", 465, kTls, kAddress}, {}},
    {"dondominio", "DonDominio", "dondominio.com", kPassword, kOwnDomains,
     {"imap.dondominio.com", 993, kTls, kAddress}, {"smtp.dondominio.com", 465, kTls, kAddress},
     {}},
    {"dreamhost", "DreamHost", "dreamhost.com", kPassword, kOwnDomains,
     {"imap.dreamhost.com", 993, kTls, kAddress}, {"smtp.dreamhost.com", 465, kTls, kAddress},
     {}},
    {"drei-at", "Drei Austria", "drei.at", kPassword, 0,
     {"imap.drei.at", 993, kTls, kAddress}, {"smtp.drei.at", 465, kTls, kAddress}, {}},
    {"earthlink", "EarthLink", "earthlink.net ix.netcom.com mindspring.com", kPassword, 0,
     {"imap.earthlink.net", 993, kTls, kAddress},
     {"smtpauth.earthlink.net", 587, kStartTls, kAddress}, {}},
    {"educamadrid", "EducaMadrid", "educa.madrid.org", kPassword, 0,
     {"imap.educa.madrid.org", 993, kTls, kLocalPart},
     {"smtp01.educa.madrid.org", 465, kTls, kLocalPart}, {}},
    {"email-it", "Email.it", "email.it", kPassword, 0,
     {"in.email.it", 993, kTls, kAddress}, {"out.email.it", 465, kTls, kAddress}, {}},
    {"emailn", "emailn.de", "emailn.de", kPassword, 0,
     {"imap.emailn.de", 143, kStartTls, kAddress}, {"smtp.emailn.de", 587, kStartTls, kAddress},
     {}},
    {"ewe", "EWE", "ewe.net ewetel.net", kPassword, 0,
     {"imap.ewe.net", 993, kTls, kAddress}, {"smtp.ewe.net", 587, kStartTls, kAddress}, {}},
    {"fastmail", "Fastmail",
     "123mail.org 150mail.com 150ml.com 16mail.com 2-mail.com 4email.net 50mail.com "
     "airpost.net allmail.net bestmail.us cluemail.com elitemail.org emailcorner.net "
     "emailengine.net emailengine.org emailgroups.net emailplus.org emailuser.net eml.cc "
     "f-m.fm fast-email.com fast-mail.org fastem.com fastemail.us fastemailer.com fastest.cc "
     "fastimap.com fastmail.cn fastmail.co.uk fastmail.com fastmail.com.au fastmail.de "
     "fastmail.es fastmail.fm fastmail.fr fastmail.im fastmail.in fastmail.jp fastmail.mx "
     "fastmail.net fastmail.nl fastmail.org fastmail.se fastmail.to fastmail.tw fastmail.uk "
     "fastmail.us fastmailbox.net fastmessaging.com fea.st fmail.co.uk fmailbox.com "
     "fmgirl.com fmguy.com ftml.net h-mail.us hailmail.net imap-mail.com imap.cc "
     "imapmail.org inoutbox.com internet-e-mail.com internet-mail.org internetemails.net "
     "internetmailing.net jetemail.net justemail.net letterboxes.org mail-central.com "
     "mail-page.com mailandftp.com mailas.com mailbolt.com mailc.net mailcan.com "
     "mailforce.net mailftp.com mailhaven.com mailingaddress.org mailite.com mailmight.com "
     "mailnew.com mailsent.net mailservice.ms mailup.net mailworks.org messagingengine.com "
     "ml1.net mm.st myfastmail.com mymacmail.com nospammail.net operamail.com ownmail.net "
     "petml.com postinbox.com postpro.net proinbox.com promessage.com realemail.net "
     "reallyfast.biz reallyfast.info rushpost.com sent.as sent.at sent.com speedpost.net "
     "speedymail.org ssl-mail.com swift-mail.com the-fastest.net the-quickest.com "
     "theinternetemail.com veryfast.biz veryspeedy.net warpmail.net xsmail.com yepmail.net "
     "your-mail.com",
     kAppPassword, kOwnDomains,
     {"imap.fastmail.com", 993, kTls, kAddress}, {"smtp.fastmail.com", 465, kTls, kAddress},
     {"https://www.fastmail.help/hc/en-us/articles/360058752854-App-passwords", "",
      "The Basic plan has no IMAP."}},
    {"fastweb", "Fastweb", "fastwebnet.it", kPassword, 0,
     {"imap.fastwebnet.it", 993, kTls, kAddress}, {"smtp.fastwebnet.it", 587, kStartTls, kAddress},
     {}},
    {"forwardemail", "Forward Email", "forwardemail.net", kPassword, kOwnDomains,
     {"imap.forwardemail.net", 993, kTls, kAddress}, {"smtp.forwardemail.net", 465, kTls, kAddress},
     {"", "",
      "Sending needs a paid plan."}},
    {"free-fr", "Free", "free.fr libertysurf.fr", kPassword, 0,
     {"imap.free.fr", 993, kTls, kLocalPart}, {"smtp.free.fr", 465, kTls, kLocalPart},
     {"https://free.fr/assistance/597.html", "",
      "Sending from other programs is off until you switch it on in the account page."}},
    {"freedom-nl", "Freedom Internet", "freedom.nl", kPassword, 0,
     {"imap.freedom.nl", 993, kTls, kAddress}, {"smtp.freedom.nl", 465, kTls, kAddress}, {}},
    {"freenet", "freenet",
     "bossmail.de fn.de freenet.de freenetmail.de justmail.de",
     kPassword, kImapOff,
     {"mx.freenet.de", 993, kTls, kAddress}, {"mx.freenet.de", 465, kTls, kAddress},
     {"https://kundenservice.freenet.de/artikel/1685", "", ""}},
    {"gandi", "Gandi", "gandi.net", kPassword, kOwnDomains,
     {"mail.gandi.net", 993, kTls, kAddress}, {"mail.gandi.net", 465, kTls, kAddress}, {}},
    {"gigahost", "Gigahost", "gigahost.dk", kPassword, kOwnDomains,
     {"mail.gigahost.dk", 993, kTls, kAddress}, {"smtp.gigahost.dk", 587, kStartTls, kAddress},
     {}},
    {"gmail", "Gmail", "gmail.com googlemail.com", kAppPassword, kCodesInGroups,
     {"imap.gmail.com", 993, kTls, kAddress}, {"smtp.gmail.com", 465, kTls, kAddress},
     {"https://myaccount.google.com/apppasswords", "2026-05",
      "Two-step sign-in has to be on before an app password can be made. Changing the "
      "account's password ends all app passwords. Accounts with Advanced Protection have "
      "none."}},
    {"gmx-com", "GMX (international)",
     "gmx.ca gmx.cn gmx.co.in gmx.co.uk gmx.com gmx.com.br gmx.com.my gmx.com.tr gmx.es "
     "gmx.fr gmx.hk gmx.ie gmx.it gmx.li gmx.ph gmx.pt gmx.ru gmx.se gmx.sg gmx.tm gmx.tw "
     "gmx.us",
     kPassword, kImapOff | kAppIfTwoStep,
     {"imap.gmx.com", 993, kTls, kAddress}, {"mail.gmx.com", 465, kTls, kAddress},
     {"https://support.gmx.com/security/2fa/application-specific-passwords.html", "2026-05",
      "GMX switches the access off again if it is not used for long."}},
    {"gmx-net", "GMX (Germany, Austria, Switzerland)",
     "gmx.at gmx.biz gmx.ch gmx.de gmx.eu gmx.info gmx.net gmx.org",
     kPassword, kImapOff | kAppIfTwoStep,
     {"imap.gmx.net", 993, kTls, kAddress}, {"mail.gmx.net", 465, kTls, kAddress},
     {"https://hilfe.gmx.net/sicherheit/2fa/anwendungsspezifisches-passwort.html", "2026-05",
      "GMX also asks for an app password in many other cases since 2026, and switches the "
      "access off again if it is not used for long."}},
    {"godaddy", "GoDaddy Workspace", "secureserver.net", kPassword, kOwnDomains,
     {"imap.secureserver.net", 993, kTls, kAddress},
     {"smtpout.secureserver.net", 465, kTls, kAddress},
     {"", "",
      "Newer GoDaddy mailboxes are run by Microsoft 365."}},
    {"goneo", "goneo", "goneo.de", kPassword, kOwnDomains,
     {"imap.goneo.de", 993, kTls, kAddress}, {"smtp.goneo.de", 465, kTls, kAddress}, {}},
    {"google-workspace", "Google Workspace",
     "google.com jazztel.es nyu.edu umich.edu",
     kAppPassword, kOwnDomains | kCodesInGroups,
     {"imap.gmail.com", 993, kTls, kAddress}, {"smtp.gmail.com", 465, kTls, kAddress},
     {"https://myaccount.google.com/apppasswords", "2025-03",
      "The account's own password no longer works. Your administrator may forbid app "
      "passwords or IMAP."}},
    {"hccnet", "HCCnet", "hcc.nl hccnet.nl kader.hcc.nl", kPassword, 0,
     {"pop.hccnet.nl", 993, kTls, kAddress}, {"smtp.hccnet.nl", 465, kTls, kAddress}, {}},
    {"hetzner", "Hetzner", "your-server.de", kPassword, kOwnDomains,
     {"mail.your-server.de", 993, kTls, kAddress}, {"mail.your-server.de", 465, kTls, kAddress},
     {}},
    {"hostinger", "Hostinger", "hostinger.com", kPassword, kOwnDomains,
     {"imap.hostinger.com", 993, kTls, kAddress}, {"smtp.hostinger.com", 465, kTls, kAddress},
     {}},
    {"icloud", "Apple iCloud", "icloud.com mac.com me.com", kAppPassword, 0,
     {"imap.mail.me.com", 993, kTls, kLocalPart}, {"smtp.mail.me.com", 587, kStartTls, kAddress},
     {"https://support.apple.com/en-us/HT204397", "2026-05",
      "Two-factor authentication has to be on. The user name is the part before the @ for "
      "reading, and the whole address for sending. An alias cannot sign in."}},
    {"inbox-eu", "Inbox.eu", "inbox.eu", kPassword, kProgramsOff,
     {"mail.inbox.eu", 993, kTls, kAddress}, {"mail.inbox.eu", 465, kTls, kAddress},
     {"https://help.inbox.lv/?keyword=email_clients_access", "", ""}},
    {"inbox-lt", "Inbox (Lithuania)", "inbox.lt", kPassword, kProgramsOff,
     {"mail.inbox.lt", 993, kTls, kAddress}, {"mail.inbox.lt", 465, kTls, kAddress},
     {"https://help.inbox.lv/?keyword=email_clients_access", "", ""}},
    {"inbox-lv", "Inbox (Latvia)", "inbox.lv", kPassword, kProgramsOff,
     {"mail.inbox.lv", 993, kTls, kAddress}, {"mail.inbox.lv", 465, kTls, kAddress},
     {"https://help.inbox.lv/?keyword=email_clients_access", "", ""}},
    {"infomaniak", "Infomaniak", "etik.com ik.me ikmail.com infomaniak.com", kAppPassword, 0,
     {"mail.infomaniak.com", 993, kTls, kAddress}, {"mail.infomaniak.com", 465, kTls, kAddress},
     {"https://www.infomaniak.com/en/support/faq/1321/"
      "modifying-the-email-address-password-from-the-mail-hosting", "2026-06",
      "Make a device password in the Infomaniak manager; the account's password is refused."}},
    {"interia", "Interia",
     "adresik.net interia.com interia.eu interia.pl interiowy.pl intmail.pl ogarnij.se "
     "pacz.to pisz.to poczta.fm vip.interia.pl",
     kPassword, kImapOff,
     {"poczta.interia.pl", 993, kTls, kAddress}, {"poczta.interia.pl", 465, kTls, kAddress}, {}},
    {"ionos-com", "IONOS (US)", "ionos.com", kPassword, kOwnDomains | kMailboxPassword,
     {"imap.ionos.com", 993, kTls, kAddress}, {"smtp.ionos.com", 465, kTls, kAddress},
     {"https://www.ionos.com/help/email/using-webmail/email-activate-and-configure-two-step-verification", "", ""}},
    {"ionos-de", "IONOS 1&1 (Germany)",
     "go4more.de ionos.de online.de onlinehome.de sofort-start.de sofort-surf.de "
     "sofortstart.de sofortsurf.de",
     kPassword, kAppIfTwoStep | kMailboxPassword,
     {"imap.ionos.de", 993, kTls, kAddress}, {"smtp.ionos.de", 465, kTls, kAddress},
     {"https://www.ionos.de/hilfe/e-mail/problemloesungen-mail-basicmail-business/passwort-fuer-e-mail-konto-bei-ionos-aendern/", "", ""}},
    {"ionos-fr", "IONOS (France)", "ionos.fr", kPassword, kOwnDomains | kMailboxPassword,
     {"imap.ionos.fr", 993, kTls, kAddress}, {"smtp.ionos.fr", 465, kTls, kAddress}, {}},
    {"ionos-uk", "IONOS (UK)", "ionos.co.uk", kPassword, kOwnDomains | kMailboxPassword,
     {"imap.ionos.co.uk", 993, kTls, kAddress}, {"smtp.ionos.co.uk", 465, kTls, kAddress},
     {"https://www.ionos.co.uk/help/email/troubleshooting-mail-basicmail-business/changing-a-11-ionos-email-account-password/", "", ""}},
    {"janis", "Janis (Nagano)", "janis.or.jp", kPassword, 0,
     {"imaps.janis.or.jp", 993, kTls, kAddress}, {"smtps.janis.or.jp", 465, kTls, kAddress}, {}},
    {"jetinternet", "JETINTERNET", "jet.ne.jp", kPassword, 0,
     {"imap.jet.ne.jp", 993, kTls, kLocalPart}, {"smtp.jet.ne.jp", 465, kTls, kLocalPart}, {}},
    {"jubii", "Jubii",
     "123mail.dk 12fuel.dk 12mail.dk 12move.dk 2night.dk 2senior.dk 9260.dk anarki.dk "
     "anderledes.dk backbone.dk bedstemail.dk begavet.dk bemybaby.dk bitnisse.dk "
     "christensen.dk christiansen.dk city.dk cool.dk cyberdude.dk cyberjunkie.dk "
     "dancemail.dk e-box.dk e-mail.dk e-postboks.dk elinstallatoer.dk elsker.dk elvis.dk "
     "email.dk eriksen.dk fald.dk fedt.dk feminin.dk flirt.dk forening.dk fraekkert.dk "
     "frandsen.dk frederiksen.dk funkymail.dk gadefejer.dk gaf-net.dk gason.dk grin.dk "
     "groovymail.dk grov.dk hammergod.dk hansen.dk hardworking.dk heaven.dk heavymail.dk "
     "hemmelig.dk henningsen.dk henriksen.dk hippie.dk huleboer.dk husk-mig.dk hyperpost.dk "
     "iloveu.dk inbound.dk indbakke.dk infile.dk info.dk io.dk it.dk iversen.dk jacobsen.dk "
     "jakobsen.dk johansen.dk jubii.dk jubiichat.dk jubiiconnect.dk jubiigames.dk "
     "jubiimail.dk jubiipost.dk jubiipostadresse.dk jyde.dk klog.dk knudsen.dk knus.dk "
     "krudt.dk kulturel.dk kvalme.dk larsen.dk laursen.dk lazy.dk lystig.dk madsen.dk "
     "mail-mig.dk mail.jubii.dk mail4.dk mail6.dk mail8.dk maildanmark.dk mailroyal.dk "
     "mailster.dk manmail.dk maskulin.dk mathiesen.dk mikaelsen.dk mikkelsen.dk "
     "min-postkasse.dk minprivatemail.dk mortensen.dk musling.dk natteliv.dk netbruger.dk "
     "nicemail.dk nospam.dk olesen.dk pedal.dk pedersen.dk pengemand.dk petersen.dk "
     "pokerface.dk popme.dk postman.dk poulsen.dk privatmail.dk privatpost.dk quake.dk "
     "rasmussen.dk ready.dk retromail.dk ringmybell.dk secret.dk sexysurfer.dk simonsen.dk "
     "skrivnu.dk sleepy.dk sorensen.dk sporty.dk submail.dk superbruger.dk svendsen.dk "
     "talent.dk tanke.dk tastmig.dk taxidriver.dk teens.dk teknik.dk thomsen.dk tjekket.dk "
     "trashcan.dk trustme.dk ungdom.dk vestergaard.dk video.dk vittig.dk wildwildweb.dk "
     "zoomail.dk zybermail.dk",
     kPassword, 0,
     {"imap.jubii.dk", 993, kTls, kAddress}, {"smtp.jubii.dk", 465, kTls, kAddress}, {}},
    {"kakao", "Kakao Mail", "kakao.com", kAppPassword, kImapOff | kUncertain,
     {"imap.kakao.com", 993, kTls, kLocalPart}, {"smtp.kakao.com", 465, kTls, kLocalPart},
     {"https://cs.kakao.com/", "2026",
      "Two-step sign-in has to be on before an app password can be made. The form of the user "
      "name is not certain."}},
    {"kolabnow", "Kolab Now",
     "attorneymail.ch barmail.ch collaborative.li diplomail.ch groupoffice.ch "
     "journalistmail.ch kolabnow.com legalprivilege.ch libertymail.co libertymail.net "
     "mailatlaw.ch medmail.ch mykolab.ch mykolab.com myswissmail.ch opengroupware.ch "
     "pressmail.ch swisscollab.ch swissgroupware.ch switzerlandmail.ch trusted-legal-mail.ch",
     kPassword, 0,
     {"imap.kolabnow.com", 993, kTls, kAddress}, {"smtp.kolabnow.com", 587, kStartTls, kAddress},
     {}},
    {"kpn", "KPN, XS4ALL, Telfort",
     "freeler.nl hetnet.nl kpnmail.nl kpnplanet.nl on.nl onsbrabantnet.nl onsmail.nl "
     "onsnet.nu onsneteindhoven.nl onsnetnuenen.nl planet.nl snelnet.net telfort.nl tip.nl "
     "tiscali.nl tiscalimail.nl wxs.nl xs4all.nl",
     kPassword, 0,
     {"imap.kpnmail.nl", 993, kTls, kAddress}, {"smtp.kpnmail.nl", 465, kTls, kAddress}, {}},
    {"laposte", "La Poste", "laposte.net", kPassword, 0,
     {"imap.laposte.net", 993, kTls, kLocalPart}, {"smtp.laposte.net", 465, kTls, kLocalPart},
     {"", "",
      "Use the main address: an alias cannot sign in."}},
    {"libero", "Libero", "blu.it giallo.it inwind.it iol.it libero.it", kPassword, kAppIfTwoStep,
     {"imapmail.libero.it", 993, kTls, kAddress}, {"smtp.libero.it", 465, kTls, kAddress},
     {"https://aiuto.libero.it/articolo/sicurezza/password-sicura-specifica-applicazioni-client/", "", ""}},
    {"lilo", "Lilo", "lilo.org", kPassword, 0,
     {"mail.lilo.org", 143, kStartTls, kAddress}, {"mail.lilo.org", 587, kStartTls, kAddress},
     {}},
    {"mail-com", "mail.com",
     "2die4.com 2trom.com accountant.com acdcfan.com activist.com adexec.com africamail.com "
     "aircraftmail.com alabama.usa.com alaska.usa.com allergist.com alumni.com "
     "alumnidirector.com americamail.com amorous.com angelic.com archaeologist.com "
     "arcticmail.com arizona.usa.com artlover.com asia-mail.com asia.com atheist.com "
     "auctioneer.net australiamail.com bartender.net bellair.net berlin.com bigger.com "
     "bikerider.com birdlover.com blader.com boardermail.com brazilmail.com brew-master.com "
     "brew-meister.com bsdmail.com california.usa.com californiamail.com caress.com "
     "cash4u.com catlover.com cheerful.com chef.net chemist.com chinamail.com clerk.com "
     "cliffhanger.com clubmember.org collector.org columnist.com comic.com computer4u.com "
     "consultant.com contractor.net coolsite.net counsellor.com count.com couple.com "
     "cutey.com cyber-wizard.com cyberdude.com cybergal.com cyberservices.com dallasmail.com "
     "dbzmail.com deliveryman.com diplomats.com disciples.com discofan.com disposable.com "
     "doctor.com doglover.com doramail.com dr.com dublin.com dutchmail.com earthling.net "
     "elvisfan.com email.com engineer.com englandmail.com europe.com europemail.com "
     "execs.com fan.com fastservice.com feelings.com financier.com fireman.net "
     "florida.usa.com footballer.com galaxyhit.com gardener.com geologist.com "
     "germanymail.com graduate.org graphic-designer.com greenmail.net groupmail.com "
     "hackermail.com hairdresser.net hilarious.com hiphopfan.com hockeymail.com homemail.com "
     "hot-shot.com hour.com housemail.com humanoid.net illinois.usa.com iname.com "
     "innocent.com inorbit.com instruction.com instructor.net insurer.com irelandmail.com "
     "israelmail.com italymail.com japan.com job4u.com journalist.com keromail.com "
     "kissfans.com kittymail.com koreamail.com lawyer.com legislator.com linuxmail.org "
     "lobbyist.com london.com loveable.com lovecat.com mad.scientist.com madonnafan.com "
     "madrid.com mail-me.com mail.com mail.org marchmail.com metalfan.com mexicomail.com "
     "mindless.com minister.com mobsters.com monarchy.com moscowmail.com munich.com "
     "musician.org muslim.com myself.com net-shopping.com newyork.usa.com ninfan.com "
     "nonpartisan.com null.net nycmail.com oath.com optician.com orthodontist.net "
     "pacific-ocean.com pacificwest.com pediatrician.com petlover.com photographer.net "
     "physicist.net planetmail.com planetmail.net playful.com poetic.com polandmail.com "
     "politician.com popstar.com post.com presidency.com priest.com programmer.net "
     "protestant.com publicist.com qualityservice.com radiologist.net ravemail.com "
     "realtyagent.com reborn.com reggaefan.com registerednurses.com reincarnate.com "
     "religious.com repairman.com representative.com rescueteam.com revenue.com "
     "rocketship.com rockfan.com rome.com royal.net safrica.com saintly.com salesperson.net "
     "samerica.com sanfranmail.com scientist.com scotlandmail.com secretary.net "
     "seductive.com singapore.com snakebite.com socialworker.net sociologist.com "
     "solution4u.com songwriter.net soon.com spainmail.com surgical.net swedenmail.com "
     "swissmail.com teachers.org tech-center.com techie.com technologist.com texas.usa.com "
     "thegame.com theplate.com therapist.net toke.com tokyo.com toothfairy.com "
     "torontomail.com tvstar.com umpire.com usa.com uymail.com wallet.com webname.com "
     "weirdness.com who.net whoever.com winning.com witty.com worker.com workmail.com "
     "writeme.com yours.com",
     kPassword, kImapOff | kAppIfTwoStep,
     {"imap.mail.com", 993, kTls, kAddress}, {"smtp.mail.com", 465, kTls, kAddress},
     {"https://support.mail.com/security/2fa/application-specific-passwords.html", "2026-05",
      "IMAP is for Premium subscribers only."}},
    {"mail-de", "mail.de", "mail.de", kPassword, 0,
     {"imap.mail.de", 993, kTls, kAddress}, {"smtp.mail.de", 465, kTls, kAddress}, {}},
    {"mail-ee", "Mail.ee", "mail.ee", kPassword, kProgramsOff,
     {"mail.ee", 993, kTls, kAddress}, {"mail.ee", 465, kTls, kAddress},
     {"https://help.mail.ee/?keyword=email_clients_access", "", ""}},
    {"mail-fr", "Mail.fr", "mail.fr", kPassword, 0,
     {"imap.mail.fr", 993, kTls, kAddress}, {"smtp.mail.fr", 465, kTls, kAddress}, {}},
    {"mail-ru", "Mail.ru",
     "bk.ru corp.mail.ru inbox.ru internet.ru list.ru mail.ru mail.ua vk.com",
     kAppPassword, 0,
     {"imap.mail.ru", 993, kTls, kAddress}, {"smtp.mail.ru", 465, kTls, kAddress},
     {"https://account.mail.ru/user/2-step-auth/passwords/", "",
      "Mail.ru calls it a password for an external program."}},
    {"mailbox-org", "mailbox.org", "mailbox.org secure.mailbox.org", kPassword, kAppIfTwoStep,
     {"imap.mailbox.org", 993, kTls, kAddress}, {"smtp.mailbox.org", 465, kTls, kAddress},
     {"https://kb.mailbox.org/en/private/security-and-privacy/application-passwords-for-external-programs/", "", ""}},
    {"mailfence", "Mailfence", "mailfence.com", kAppPassword, 0,
     {"imap.mailfence.com", 993, kTls, kLocalPart}, {"smtp.mailfence.com", 465, kTls, kLocalPart},
     {"https://kb.mailfence.com/kb/service-specific-passwords/", "",
      "Mailfence calls it a service password."}},
    {"mailo", "Mailo",
     "africamel.net americamel.net asiamel.net brusseler.com calidifontain.be email.bzh "
     "emailasso.net europamel.net francemel.fr inmano.com lavache.com mailo.com mailoo.org "
     "monemail.com mongenie.com net-c.be net-c.ca net-c.cat net-c.com net-c.es net-c.fr "
     "net-c.it net-c.lu net-c.nl net-c.pl netc.eu netc.fr netc.it netc.lu netc.pl "
     "netcmail.com netcourrier.com perso.be postel.bzh teaser.fr",
     kPassword, 0,
     {"imap.mailo.com", 993, kTls, kAddress}, {"smtp.mailo.com", 465, kTls, kAddress}, {}},
    {"microsoft365", "Microsoft 365 (work or school)",
     "*.onmicrosoft.com office365.com",
     kOauthOnly, kOwnDomains,
     {"outlook.office365.com", 993, kTls, kAddress},
     {"smtp.office365.com", 587, kStartTls, kAddress},
     {"", "2026-01",
      "Reading with a password ended in 2022. Sending with a password still works where the "
      "administrator allows it, and is off by default from the end of December 2026. The "
      "organisation may also block forwarding to addresses outside."}},
    {"migadu", "Migadu", "migadu.com", kPassword, kOwnDomains,
     {"imap.migadu.com", 993, kTls, kAddress}, {"smtp.migadu.com", 465, kTls, kAddress}, {}},
    {"mittwald", "Mittwald", "agenturserver.de", kPassword, kOwnDomains,
     {"mail.agenturserver.de", 993, kTls, kAddress}, {"mail.agenturserver.de", 465, kTls, kAddress},
     {}},
    {"mnet", "M-net", "mnet-mail.de mnet-online.de", kPassword, 0,
     {"imap.mnet-online.de", 993, kTls, kAddress},
     {"mail.mnet-online.de", 587, kStartTls, kAddress}, {}},
    {"mopera", "docomo mopera U", "mopera.net", kPassword, 0,
     {"mail.mopera.net", 993, kTls, kLocalPart}, {"mail.mopera.net", 465, kTls, kLocalPart}, {}},
    {"murena", "Murena /e/", "e.email", kPassword, 0,
     {"mail.ecloud.global", 993, kTls, kAddress}, {"mail.ecloud.global", 587, kStartTls, kAddress},
     {}},
    {"mweb", "MWEB (South Africa)", "mweb.co.za", kPassword, kUncertain,
     {"imap.mweb.co.za", 993, kTls, kAddress}, {"smtp.mweb.co.za", 587, kStartTls, kAddress}, {}},
    {"namecheap", "Namecheap Private Email", "privateemail.com", kPassword, kOwnDomains,
     {"mail.privateemail.com", 993, kTls, kAddress}, {"mail.privateemail.com", 465, kTls, kAddress},
     {}},
    {"nauta", "Nauta (Cuba)", "nauta.cu", kPassword, 0,
     {"imap.nauta.cu", 143, kStartTls, kAddress}, {"smtp.nauta.cu", 25, kStartTls, kAddress},
     {"", "",
      "Sending works from the Cuban network only."}},
    {"naver", "Naver", "naver.com", kAppPassword, kImapOff,
     {"imap.naver.com", 993, kTls, kAddress}, {"smtp.naver.com", 465, kTls, kAddress},
     {"https://nid.naver.com/user2/help/2StepVerif?m=viewManageSettings", "2025-12",
      "Two-step sign-in has to be on before an app password can be made."}},
    {"netease-126", "NetEase 126", "126.com", kAppPassword, kImapOff,
     {"imap.126.com", 993, kTls, kAddress}, {"smtp.126.com", 465, kTls, kAddress},
     {"https://mail.126.com/", "2026-08",
      "The password is an authorisation code that the web site shows once; a free account may "
      "have few of them."}},
    {"netease-163", "NetEase 163", "163.com", kAppPassword, kImapOff,
     {"imap.163.com", 993, kTls, kAddress}, {"smtp.163.com", 465, kTls, kAddress},
     {"https://mail.163.com/", "2026-08",
      "The password is an authorisation code that the web site shows once; a free account may "
      "have few of them."}},
    {"netease-yeah", "NetEase yeah.net", "yeah.net", kAppPassword, kImapOff,
     {"imap.yeah.net", 993, kTls, kAddress}, {"smtp.yeah.net", 465, kTls, kAddress},
     {"https://mail.yeah.net/", "2026-08",
      "The password is an authorisation code that the web site shows once; a free account may "
      "have few of them."}},
    {"nic-in", "India government (NIC)", "*.nic.in nic.in", kPassword, 0,
     {"imap.mail.gov.in", 993, kTls, kAddress}, {"smtp.mail.gov.in", 465, kTls, kAddress}, {}},
    {"o2-pl", "o2 Poczta", "go2.pl o2.pl prokonto.pl tlen.pl", kPassword, kImapOff,
     {"poczta.o2.pl", 993, kTls, kLocalPart}, {"poczta.o2.pl", 465, kTls, kLocalPart},
     {"https://pomoc.o2.pl/aktywacja-dostepu-dla-programow-pocztowych", "", ""}},
    {"ok-de", "OK.de", "ok.de", kPassword, kImapOff,
     {"imap.ok.de", 993, kTls, kAddress}, {"smtp.ok.de", 587, kStartTls, kAddress},
     {"https://kb.ok.de/de/support/solutions/articles/48001237314", "", ""}},
    {"one-com", "one.com", "one.com", kPassword, kOwnDomains,
     {"imap.one.com", 993, kTls, kAddress}, {"send.one.com", 465, kTls, kAddress}, {}},
    {"onet", "Onet Poczta",
     "adres.pl amorki.pl autograf.pl buziaczek.pl cyberia.pl onet.com.pl onet.eu onet.pl "
     "op.pl opoczta.pl poczta.onet.eu poczta.onet.pl pseudonim.pl republika.pl spoko.pl "
     "vip.onet.pl vp.pl",
     kPassword, 0,
     {"imap.poczta.onet.pl", 993, kTls, kAddress}, {"smtp.poczta.onet.pl", 465, kTls, kAddress},
     {"https://pomoc.poczta.onet.pl/baza-wiedzy/konfiguracja-poczty-na-urzadzeniach-mobilnych/", "", ""}},
    {"optimum", "Optimum", "optimum.net", kPassword, 0,
     {"mail.optimum.net", 993, kTls, kAddress}, {"mail.optimum.net", 465, kTls, kAddress}, {}},
    {"optonline", "Optimum Online", "optonline.net", kPassword, 0,
     {"mail.optonline.net", 993, kTls, kAddress}, {"mail.optonline.net", 465, kTls, kAddress},
     {}},
    {"orange-fr", "Orange France", "orange.fr wanadoo.fr", kPassword, 0,
     {"imap.orange.fr", 993, kTls, kAddress}, {"smtp.orange.fr", 465, kTls, kAddress},
     {"https://assistance.orange.fr/ordinateurs-peripheriques/installer-et-utiliser/l-utilisation-du-mail-et-du-cloud/mail-orange/le-mail-orange-nouvelle-version/parametrer-la-boite-mail/mail-orange-comment-acceder-a-sa-boite-mail-orange-depuis-une-application-ou-un-logiciel-de-messagerie-non-fourni-par-orange_434630-964290", "",
      "If the sign-in fails, see the page of Orange about other mail programs."}},
    {"otenet", "OTE (Greece)", "otenet.gr", kPassword, kUncertain,
     {"imap.otenet.gr", 993, kTls, kAddress}, {"mailgate.otenet.gr", 587, kStartTls, kAddress},
     {}},
    {"outlook", "Outlook.com (Hotmail, Live, MSN)",
     "hotmail.be hotmail.ca hotmail.cl hotmail.co.id hotmail.co.il hotmail.co.in "
     "hotmail.co.jp hotmail.co.kr hotmail.co.th hotmail.co.uk hotmail.co.za hotmail.com "
     "hotmail.com.ar hotmail.com.au hotmail.com.br hotmail.com.hk hotmail.com.mx "
     "hotmail.com.tr hotmail.com.tw hotmail.com.vn hotmail.cz hotmail.de hotmail.dk "
     "hotmail.es hotmail.fi hotmail.fr hotmail.gr hotmail.hu hotmail.it hotmail.lt "
     "hotmail.lv hotmail.my hotmail.nl hotmail.no hotmail.ph hotmail.rs hotmail.se "
     "hotmail.sg hotmail.sk live.at live.be live.ca live.cl live.cn live.co.jp live.co.kr "
     "live.co.uk live.co.za live.com live.com.ar live.com.au live.com.mx live.com.my "
     "live.com.ph live.com.pt live.com.sg live.de live.dk live.fi live.fr live.hk live.ie "
     "live.in live.it live.jp live.nl live.no live.ru live.se livemail.tw msn.com outlook.at "
     "outlook.be outlook.cl outlook.co.id outlook.co.il outlook.co.nz outlook.co.th "
     "outlook.com outlook.com.ar outlook.com.au outlook.com.br outlook.com.gr outlook.com.pe "
     "outlook.com.tr outlook.com.vn outlook.cz outlook.de outlook.dk outlook.es outlook.fr "
     "outlook.hu outlook.ie outlook.in outlook.it outlook.jp outlook.kr outlook.lv "
     "outlook.my outlook.ph outlook.pt outlook.sa outlook.sg outlook.sk windowslive.com",
     kOauthOnly, kOwnDomains | kImapOff,
     {"outlook.office365.com", 993, kTls, kAddress},
     {"smtp-mail.outlook.com", 587, kStartTls, kAddress},
     {"", "2026-09",
      "Microsoft accepts no password here since September 2024, not even an app password."}},
    {"ouvaton", "Ouvaton", "ouvaton.org", kPassword, 0,
     {"imap.ouvaton.coop", 993, kTls, kAddress}, {"smtp.ouvaton.coop", 465, kTls, kAddress}, {}},
    {"ovh", "OVHcloud", "ovh.net", kPassword, kOwnDomains,
     {"ssl0.ovh.net", 993, kTls, kAddress}, {"ssl0.ovh.net", 465, kTls, kAddress}, {}},
    {"oxcloud-eu", "OX Cloud EU", "cloudeu.xion.oxcs.net", kPassword, kOwnDomains,
     {"imap.eu.appsuite.cloud", 993, kTls, kAddress},
     {"smtp.eu.appsuite.cloud", 587, kStartTls, kAddress}, {}},
    {"oxcloud-us", "OX Cloud US", "cloudus.xion.oxcs.net", kPassword, kOwnDomains,
     {"imap.us.appsuite.cloud", 993, kTls, kAddress},
     {"smtp.us.appsuite.cloud", 587, kStartTls, kAddress}, {}},
    {"penteledata", "PenTeleData", "ptd.net", kPassword, 0,
     {"promail.ptd.net", 993, kTls, kLocalPart}, {"promail.ptd.net", 465, kTls, kLocalPart}, {}},
    {"plusnet", "Plusnet", "*.plus.com", kPassword, 0,
     {"imap.plus.net", 993, kTls, kAddress}, {"relay.plus.net", 465, kTls, kAddress},
     {"", "",
      "The address has the form name@user.plus.com."}},
    {"pobox", "Pobox", "pobox.com", kPassword, kOwnDomains,
     {"mail.pobox.com", 993, kTls, kAddress}, {"smtp.pobox.com", 465, kTls, kAddress}, {}},
    {"postecert", "Poste PosteCert", "postecert.it", kPassword, 0,
     {"mail.postecert.it", 993, kTls, kAddress}, {"mail.postecert.it", 465, kTls, kAddress}, {}},
    {"posteo", "Posteo",
     "posteo.af posteo.at posteo.be posteo.ca posteo.ch posteo.cl posteo.co posteo.co.uk "
     "posteo.com posteo.com.br posteo.cr posteo.cz posteo.de posteo.dk posteo.ee posteo.es "
     "posteo.eu posteo.fi posteo.gl posteo.gr posteo.hn posteo.hr posteo.hu posteo.ie "
     "posteo.in posteo.is posteo.it posteo.jp posteo.la posteo.li posteo.lt posteo.lu "
     "posteo.me posteo.mx posteo.my posteo.net posteo.nl posteo.no posteo.nz posteo.org "
     "posteo.pe posteo.pl posteo.pm posteo.pt posteo.ro posteo.ru posteo.se posteo.sg "
     "posteo.si posteo.tn posteo.uk posteo.us",
     kAppPassword, 0,
     {"posteo.de", 993, kTls, kAddress}, {"posteo.de", 465, kTls, kAddress},
     {"https://posteo.de/en/help/app-passwords", "2026-01",
      "With the additional mailbox protection switched on, no other mail program gets in."}},
    {"proton", "Proton Mail", "pm.me proton.me protonmail.ch protonmail.com", kBridge, 0,
     {"127.0.0.1", 1143, kStartTls, kAddress}, {"127.0.0.1", 1025, kStartTls, kAddress},
     {"https://proton.me/mail/bridge", "",
      "A paid plan is needed. Proton Mail Bridge has to run on this computer; it shows the "
      "password and the ports to use. Its certificate is its own: export it there and name "
      "the file as the certificate file."}},
    {"proximus", "Proximus", "belgacom.net kidcity.be proximus.be skynet.be", kPassword, 0,
     {"imap.proximus.be", 993, kTls, kAddress}, {"relay.proximus.be", 587, kStartTls, kAddress},
     {}},
    {"purelymail", "Purelymail",
     "cheapermail.com placeq.com purelymail.com rethinkmail.com worldofmail.com",
     kPassword, kOwnDomains | kAppIfTwoStep,
     {"imap.purelymail.com", 993, kTls, kAddress}, {"smtp.purelymail.com", 465, kTls, kAddress},
     {"https://support.purelymail.com/support/solutions/articles/"
      "159000412945-how-to-create-an-app-password", "", ""}},
    {"qq", "QQ Mail", "foxmail.com qq.com", kAppPassword, kImapOff,
     {"imap.qq.com", 993, kTls, kAddress}, {"smtp.qq.com", 465, kTls, kAddress},
     {"https://service.mail.qq.com/cgi-bin/help?subtype=1&id=28&no=331", "2022-11",
      "The password is an authorisation code of 16 letters; changing the QQ password ends it."}},
    {"rackspace", "Rackspace Email", "emailsrvr.com reagan.com", kPassword, kOwnDomains,
     {"secure.emailsrvr.com", 993, kTls, kAddress}, {"secure.emailsrvr.com", 465, kTls, kAddress},
     {}},
    {"rambler", "Rambler",
     "autorambler.ru lenta.ru myrambler.ru r0.ru rambler.ru rambler.ua ro.ru",
     kPassword, kProgramsOff,
     {"imap.rambler.ru", 993, kTls, kAddress}, {"smtp.rambler.ru", 465, kTls, kAddress},
     {"https://help.rambler.ru/mail/mail-nastrojki-pochtovogo-yashika/2129/", "", ""}},
    {"rediff-pro", "Rediffmail Pro", "rediff.com", kPassword, 0,
     {"imap.rediffmailpro.com", 993, kTls, kAddress},
     {"smtp.rediffmailpro.com", 465, kTls, kAddress},
     {"", "",
      "This is a paid service."}},
    {"riseup", "Riseup", "riseup.net", kPassword, 0,
     {"mail.riseup.net", 993, kTls, kAddress}, {"mail.riseup.net", 465, kTls, kAddress}, {}},
    {"roadrunner", "Spectrum Road Runner (TWC)", "*.rr.com roadrunner.com rr.com", kAppPassword, 0,
     {"mail.twc.com", 993, kTls, kAddress}, {"mail.twc.com", 587, kStartTls, kAddress},
     {"https://www.spectrum.net/support/internet/spectrum-email-server-settings/", "", ""}},
    {"runbox", "Runbox", "runbox.com", kPassword, 0,
     {"mail.runbox.com", 993, kTls, kAddress}, {"mail.runbox.com", 465, kTls, kAddress}, {}},
    {"sapo", "SAPO (Portugal, Angola, Mozambique, Cape Verde)",
     "meo.pt sapo.ao sapo.cv sapo.mz sapo.pt sapo.tl",
     kPassword, 0,
     {"imap.sapo.pt", 993, kTls, kAddress}, {"smtp.sapo.pt", 465, kTls, kAddress}, {}},
    {"seznam", "Seznam", "email.cz post.cz seznam.cz spoluzaci.cz", kPassword, 0,
     {"imap.seznam.cz", 993, kTls, kAddress}, {"smtp.seznam.cz", 465, kTls, kAddress},
     {"http://napoveda.seznam.cz/cz/email/imap-pop3-smtp/", "", ""}},
    {"sfr", "SFR", "9online.fr cegetel.net club-internet.fr neuf.fr sfr.fr", kPassword, 0,
     {"imap.sfr.fr", 993, kTls, kAddress}, {"smtp.sfr.fr", 465, kTls, kAddress}, {}},
    {"shaw", "Shaw (Rogers)", "shaw.ca", kPassword, 0,
     {"imap.shaw.ca", 993, kTls, kAddress}, {"mail.shaw.ca", 587, kStartTls, kAddress}, {}},
    {"sina", "Sina Mail", "sina.com", kPassword, kImapOff | kUncertain,
     {"imap.sina.com", 993, kTls, kAddress}, {"smtp.sina.com", 465, kTls, kAddress}, {}},
    {"sky", "Sky (run by Yahoo)", "sky.com", kAppPassword, kCodesInGroups,
     {"imap.tools.sky.com", 993, kTls, kAddress}, {"smtp.tools.sky.com", 465, kTls, kAddress},
     {"https://www.sky.com/help/articles/getting-started-with-sky-yahoo-mail", "", ""}},
    {"softbank", "SoftBank iPhone mail", "i.softbank.jp", kPassword, 0,
     {"imap.softbank.jp", 993, kTls, kLocalPart}, {"smtp.softbank.jp", 465, kTls, kLocalPart},
     {}},
    {"soverin", "Soverin", "soverin.net", kPassword, kOwnDomains,
     {"imap.soverin.net", 993, kTls, kAddress}, {"smtp.soverin.net", 465, kTls, kAddress}, {}},
    {"spectrum", "Spectrum Charter",
     "bresnan.net charter.net spectrum.net",
     kAppPassword, kUncertain,
     {"mobile.charter.net", 993, kTls, kAddress}, {"mobile.charter.net", 587, kTls, kAddress},
     {"https://www.spectrum.net/support/internet/spectrum-email-server-settings/", "", ""}},
    {"startmail", "StartMail", "startmail.com", kAppPassword, 0,
     {"imap.startmail.com", 993, kTls, kAddress}, {"smtp.startmail.com", 465, kTls, kAddress},
     {"https://support.startmail.com/hc/en-us/articles/360006536217-Configure-a-trusted-device-IMAP-password", "",
      "StartMail calls it a device password."}},
    {"strato", "STRATO", "rzone.de strato.de", kPassword, kOwnDomains,
     {"imap.strato.de", 993, kTls, kAddress}, {"smtp.strato.de", 465, kTls, kAddress}, {}},
    {"suddenlink", "Suddenlink", "suddenlink.net", kPassword, 0,
     {"imap.suddenlink.net", 993, kTls, kAddress}, {"smtp.suddenlink.net", 465, kTls, kAddress},
     {}},
    {"sunrise-ch", "Sunrise", "sunrise.ch", kPassword, 0,
     {"imap.sunrise.ch", 993, kTls, kAddress}, {"smtp2.sunrise.ch", 465, kTls, kAddress}, {}},
    {"systemli", "systemli.org", "systemli.org", kPassword, 0,
     {"mail.systemli.org", 993, kTls, kAddress}, {"mail.systemli.org", 465, kTls, kAddress}, {}},
    {"t-online", "Telekom t-online", "magenta.de t-online.de", kAppPassword, 0,
     {"secureimap.t-online.de", 993, kTls, kAddress},
     {"securesmtp.t-online.de", 465, kTls, kAddress},
     {"https://www.telekom.de/hilfe/apps-dienste/e-mail/programme/passwort-verwalten", "",
      "A separate e-mail password is needed; the one of the web site is refused."}},
    {"talktalk", "TalkTalk",
     "dial.pipex.co.uk dial.pipex.com dial.pipex.net dsl.pipex.co.uk dsl.pipex.com "
     "homecall.co.uk homechoice.co.uk lineone.net onetel.com onetel.net onetel.net.uk "
     "oneteldsl.net pipex.com screaming.net solo.pipex.com talktalk.net telco4u.net "
     "tinyonline.co.uk tinyworld.co.uk tiscali.co.uk toucansurf.com ukgateway.net "
     "worldonline.co.uk",
     kPassword, 0,
     {"mail.talktalk.net", 993, kTls, kAddress}, {"smtp.talktalk.net", 587, kStartTls, kAddress},
     {}},
    {"telenet", "Telenet", "telenet.be", kPassword, 0,
     {"imap.telenet.be", 993, kTls, kAddress}, {"smtp.telenet.be", 587, kStartTls, kAddress}, {}},
    {"telia", "Telia Sweden", "telia.com", kPassword, 0,
     {"mailin.telia.com", 993, kTls, kAddress}, {"mailout.telia.com", 465, kTls, kAddress}, {}},
    {"telstra", "Telstra (BigPond)",
     "bigpond.com bigpond.net bigpond.net.au telstra.com",
     kPassword, 0,
     {"imap.telstra.com", 993, kTls, kAddress}, {"smtp.telstra.com", 465, kTls, kAddress}, {}},
    {"teol", "m:tel TEOL (Bosnia)", "mtel.tel teol.net", kPassword, 0,
     {"imap.teol.net", 993, kTls, kAddress}, {"smtp.teol.net", 465, kTls, kAddress}, {}},
    {"thundermail", "Thundermail", "tb.pro thundermail.com", kAppPassword, 0,
     {"mail.thundermail.com", 993, kTls, kAddress}, {"mail.thundermail.com", 465, kTls, kAddress},
     {"https://support.tb.pro/hc/articles/46805020320275", "", ""}},
    {"tim", "TIM", "tim.it", kAppPassword, kUncertain,
     {"imap.tim.it", 143, kStartTls, kAddress}, {"smtp.tim.it", 587, kStartTls, kAddress},
     {"https://www.tim.it/assistenza/assistenza-tecnica/mail/guida/casella-posta", "", ""}},
    {"tiscali-it", "Tiscali", "tiscali.it", kPassword, 0,
     {"imap.tiscali.it", 993, kTls, kAddress}, {"smtp.tiscali.it", 465, kTls, kAddress}, {}},
    {"tpg", "TPG", "tpg.com.au", kPassword, 0,
     {"mail.tpg.com.au", 993, kTls, kAddress}, {"mail.tpg.com.au", 465, kTls, kAddress}, {}},
    {"ukr-net", "Ukr.net", "ukr.net", kPassword, kImapOff,
     {"imap.ukr.net", 993, kTls, kAddress}, {"smtp.ukr.net", 465, kTls, kAddress},
     {"https://wiki.ukr.net/ManageIMAPAccess", "", ""}},
    {"uol", "UOL", "uol.com.br", kPassword, 0,
     {"imap.uol.com.br", 993, kTls, kLocalPart}, {"smtps.uol.com.br", 587, kStartTls, kLocalPart},
     {}},
    {"usfamily", "USFamily.net", "usfamily.net", kPassword, 0,
     {"mail.usgo.net", 993, kTls, kAddress}, {"mail.usgo.net", 465, kTls, kAddress}, {}},
    {"verizon", "Verizon (run by AOL)", "verizon.net", kAppPassword, kCodesInGroups,
     {"imap.aol.com", 993, kTls, kAddress}, {"smtp.aol.com", 465, kTls, kAddress},
     {"https://login.aol.com/account/security", "", ""}},
    {"virgilio", "Virgilio", "virgilio.it", kPassword, 0,
     {"in.virgilio.it", 993, kTls, kAddress}, {"out.virgilio.it", 465, kTls, kAddress}, {}},
    {"virginmedia", "Virgin Media",
     "blueyonder.co.uk ntlworld.com virgin.com virgin.net virginmedia.com",
     kAppPassword, kUncertain,
     {"imap.virginmedia.com", 993, kTls, kAddress}, {"smtp.virginmedia.com", 465, kTls, kAddress},
     {"https://www.virginmedia.com/help/broadband/manage-email-account", "", ""}},
    {"vivaldi", "Vivaldi", "vivaldi.net", kPassword, kUncertain,
     {"imap.vivaldi.net", 143, kStartTls, kAddress}, {"smtp.vivaldi.net", 587, kStartTls, kAddress},
     {}},
    {"vodafone-de", "Vodafone (Arcor, Kabel)",
     "arcor.de kabelmail.de nexgo.de unity-mail.de vodafone.de vodafonemail.de",
     kAppPassword, kUncertain,
     {"imap.vodafonemail.de", 993, kTls, kAddress}, {"smtp.vodafonemail.de", 465, kTls, kAddress},
     {"https://www.vodafone.de/hilfe/email/sicherheit-datenschutz.html", "", ""}},
    {"vodafone-hu", "Vodafone Hungary", "vodafone.hu", kPassword, 0,
     {"mail.vodamail.hu", 993, kTls, kAddress}, {"mail.vodamail.hu", 587, kStartTls, kAddress},
     {}},
    {"vodafone-it", "Vodafone Italy", "vodafone.it", kPassword, kUncertain,
     {"imap.vodafone.it", 993, kTls, kAddress}, {"smtp.vodafone.it", 465, kTls, kAddress}, {}},
    {"web-de", "WEB.DE",
     "action.ms clever.ms cool.ms deutschland.ms email.de flirt.ms fussball.ms genial.ms "
     "hallo.ms ich.ms joker.ms kanzler.ms kuss.ms love.ms magic.ms okay.ms online.ms "
     "party.ms planet.ms pop.ms power.ms singles.ms smart.ms stars.ms techno.ms web.de "
     "wichtig.ms",
     kPassword, kImapOff | kAppIfTwoStep,
     {"imap.web.de", 993, kTls, kLocalPart}, {"smtp.web.de", 465, kTls, kLocalPart},
     {"https://hilfe.web.de/sicherheit/2fa/anwendungsspezifisches-passwort.html", "2026-05",
      "WEB.DE may put mail from unknown senders into another folder than the inbox."}},
    {"webhuset", "Webhuset", "webhuset.no", kPassword, kOwnDomains,
     {"imap.webhuset.no", 993, kTls, kAddress}, {"smtp.webhuset.no", 465, kTls, kAddress}, {}},
    {"websupport", "WebSupport", "websupport.sk", kPassword, kOwnDomains,
     {"imap.websupport.sk", 993, kTls, kAddress}, {"smtp.websupport.sk", 465, kTls, kAddress},
     {}},
    {"wp-pl", "Wirtualna Polska", "wp.pl", kAppPassword, kImapOff | kUncertain,
     {"imap.wp.pl", 993, kTls, kLocalPart}, {"smtp.wp.pl", 465, kTls, kLocalPart},
     {"https://pomoc.wp.pl/jak-skonfigurowac-program-pocztowy", "", ""}},
    {"xtra", "Spark Xtra", "xtra.co.nz", kPassword, 0,
     {"imap.xtra.co.nz", 993, kTls, kAddress}, {"send.xtra.co.nz", 465, kTls, kAddress}, {}},
    {"yahoo", "Yahoo Mail",
     "myyahoo.com rocketmail.com yahoo.at yahoo.be yahoo.ca yahoo.cl yahoo.co.id yahoo.co.in "
     "yahoo.co.nz yahoo.co.th yahoo.co.uk yahoo.co.za yahoo.com yahoo.com.ar yahoo.com.au "
     "yahoo.com.br yahoo.com.co yahoo.com.hk yahoo.com.mx yahoo.com.my yahoo.com.pe "
     "yahoo.com.ph yahoo.com.sg yahoo.com.tr yahoo.com.tw yahoo.com.ve yahoo.com.vn yahoo.cz "
     "yahoo.de yahoo.dk yahoo.es yahoo.fi yahoo.fr yahoo.gr yahoo.hu yahoo.ie yahoo.it "
     "yahoo.nl yahoo.no yahoo.pl yahoo.pt yahoo.ro yahoo.se ymail.com",
     kAppPassword, kOwnDomains | kCodesInGroups,
     {"imap.mail.yahoo.com", 993, kTls, kAddress}, {"smtp.mail.yahoo.com", 465, kTls, kAddress},
     {"https://login.yahoo.com/account/security", "2026-06",
      "Yahoo allows app passwords to some accounts only; there are reports that it accepts "
      "none any more."}},
    {"yahoo-jp", "Yahoo! JAPAN Mail", "yahoo.co.jp", kPassword, 0,
     {"imap.mail.yahoo.co.jp", 993, kTls, kLocalPart},
     {"smtp.mail.yahoo.co.jp", 465, kTls, kLocalPart},
     {"", "",
      "These are not the servers of Yahoo elsewhere."}},
    {"yandex", "Yandex Mail",
     "narod.ru ya.ru yandex.by yandex.com yandex.com.tr yandex.kz yandex.net yandex.ru "
     "yandex.ua",
     kAppPassword, kImapOff,
     {"imap.yandex.com", 993, kTls, kAddress}, {"smtp.yandex.com", 465, kTls, kAddress},
     {"https://yandex.com/support/passport/authorization/app-passwords.html", "", ""}},
    {"yousee", "YouSee", "mail.dk", kPassword, 0,
     {"imap.mail.dk", 993, kTls, kAddress}, {"asmtp.mail.dk", 587, kStartTls, kAddress}, {}},
    {"zeelandnet", "ZeelandNet (DELTA)", "zeelandnet.nl", kPassword, 0,
     {"mail.zeelandnet.nl", 993, kTls, kLocalPart}, {"mail.zeelandnet.nl", 465, kTls, kLocalPart},
     {}},
    {"ziggo", "Ziggo",
     "a2000.nl casema.nl chello.nl hahah.nl home.nl multiweb.nl quicknet.nl razcall.com "
     "razcall.nl upcmail.nl zeggis.com zeggis.nl ziggo.nl ziggomail.com zinders.nl",
     kPassword, 0,
     {"imap.ziggo.nl", 993, kTls, kAddress}, {"smtp.ziggo.nl", 587, kStartTls, kAddress}, {}},
    {"zoho-au", "Zoho Mail (Australia)",
     "zoho.com.au zohomail.com.au",
     kPassword, kOwnDomains | kImapOff | kAppIfTwoStep,
     {"imap.zoho.com.au", 993, kTls, kAddress}, {"smtp.zoho.com.au", 465, kTls, kAddress},
     {"https://help.zoho.com/portal/en/kb/bigin/channels/email/articles/generate-an-app-specific-password", "", ""}},
    {"zoho-ca", "Zoho Mail (Canada)",
     "zohocloud.ca zohomailcloud.ca",
     kPassword, kOwnDomains | kImapOff | kAppIfTwoStep,
     {"imap.zohocloud.ca", 993, kTls, kAddress}, {"smtp.zohocloud.ca", 465, kTls, kAddress},
     {"https://help.zoho.com/portal/en/kb/bigin/channels/email/articles/generate-an-app-specific-password", "", ""}},
    {"zoho-com", "Zoho Mail (US)",
     "zoho.com zohomail.com",
     kPassword, kOwnDomains | kImapOff | kAppIfTwoStep,
     {"imap.zoho.com", 993, kTls, kAddress}, {"smtp.zoho.com", 465, kTls, kAddress},
     {"https://help.zoho.com/portal/en/kb/bigin/channels/email/articles/generate-an-app-specific-password", "",
      "Own domains of paid plans are at imappro.zoho.com and smtppro.zoho.com."}},
    {"zoho-eu", "Zoho Mail (EU)",
     "zoho.eu zohomail.eu",
     kPassword, kOwnDomains | kImapOff | kAppIfTwoStep,
     {"imap.zoho.eu", 993, kTls, kAddress}, {"smtp.zoho.eu", 465, kTls, kAddress},
     {"https://help.zoho.com/portal/en/kb/bigin/channels/email/articles/generate-an-app-specific-password", "", ""}},
    {"zoho-in", "Zoho Mail (India)",
     "zoho.in zohomail.in",
     kPassword, kOwnDomains | kImapOff | kAppIfTwoStep,
     {"imap.zoho.in", 993, kTls, kAddress}, {"smtp.zoho.in", 465, kTls, kAddress},
     {"https://help.zoho.com/portal/en/kb/bigin/channels/email/articles/generate-an-app-specific-password", "",
      "Own domains of paid plans are at imappro.zoho.in and smtppro.zoho.in."}},
    {"zoho-jp", "Zoho Mail (Japan)", "zoho.jp zohomail.jp", kPassword, kImapOff | kAppIfTwoStep,
     {"imap.zoho.jp", 993, kTls, kAddress}, {"smtp.zoho.jp", 465, kTls, kAddress},
     {"https://help.zoho.com/portal/en/kb/bigin/channels/email/articles/generate-an-app-specific-password", "", ""}},
};
// clang-format on

constexpr UnusableProvider kUnusable[] = {
    {"HEY", "offers no IMAP", "hey.com"},
    {"I.UA", "offers no IMAP", "i.ua"},
    {"Tuta", "offers no IMAP", "keemail.me tuta.io tutamail.com tutanota.com tutanota.de"},
    {"Rediffmail", "offers POP only", "rediffmail.com"},
    {"Tiscali CZ", "offers POP only, without encryption", "tiscali.cz"},
};

}  // namespace

std::span<const MailProvider> mailProviders() {
  return kTable;
}

std::span<const UnusableProvider> unusableProviders() {
  return kUnusable;
}

}  // namespace relaybird
