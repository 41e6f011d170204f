"""Networks the scenarios play: what the radio reports, how round trips,
loss and rates behave. All numbers are drawn from a seeded random source so a
run can be repeated with NORVANE_SIM_SEED."""

from dataclasses import dataclass, field


@dataclass
class NetModel:
    ssid: str
    channel: str
    gateway: str
    rssi: float
    rssi_sd: float
    gw_rtt: float          # ms to the gateway
    wan_rtt: float         # ms to an internet target
    jitter: float          # standard deviation of wan_rtt
    rtt_min: float
    rtt_max: float
    loss: float            # probability that an internet sample is lost
    burst_loss: float = 0.0  # probability that a lost sample starts a 3..8 s outage
    down: float = 100.0    # Mbps
    up: float = 20.0
    rate_sd: float = 0.08  # relative
    dns_ms: float = 20.0
    vpn: str = None
    category: str = None
    icmp_proxied: bool = False   # ICMP answered by a box on the path
    proxy_icmp_rtt: float = 6.0
    blocked: frozenset = field(default_factory=frozenset)  # probe keys that never answer
    no_internet: bool = False
    radio: str = "wlan0"
    satellite_hop: int = 0       # hop at which the long leg begins, 0 for none


MODELS = {
    "good": NetModel(
        ssid="NorvaneLab-5G", channel="36", gateway="192.168.1.1", rssi=-52, rssi_sd=2.0,
        gw_rtt=2.5, wan_rtt=18.0, jitter=3.0, rtt_min=9.0, rtt_max=60.0, loss=0.002,
        down=180.0, up=42.0, dns_ms=14.0),
    "geo": NetModel(
        ssid="SkyReach-GEO", channel="6", gateway="10.84.0.1", rssi=-58, rssi_sd=3.0,
        gw_rtt=4.0, wan_rtt=625.0, jitter=30.0, rtt_min=550.0, rtt_max=700.0, loss=0.01,
        down=28.0, up=4.5, rate_sd=0.15, dns_ms=640.0, category="satellite", satellite_hop=2),
    "flight": NetModel(
        ssid="AeroWiFi.example", channel="149", gateway="172.19.248.1", rssi=-61, rssi_sd=3.0,
        gw_rtt=5.0, wan_rtt=690.0, jitter=60.0, rtt_min=580.0, rtt_max=950.0, loss=0.025,
        burst_loss=0.05, down=9.0, up=1.6, rate_sd=0.25, dns_ms=720.0, category="flight",
        icmp_proxied=True, satellite_hop=2),
    "cellular": NetModel(
        ssid="Hotspot-4G", channel="11", gateway="192.168.43.1", rssi=-77, rssi_sd=5.0,
        gw_rtt=6.0, wan_rtt=85.0, jitter=45.0, rtt_min=38.0, rtt_max=900.0, loss=0.07,
        burst_loss=0.08, down=14.0, up=3.2, rate_sd=0.45, dns_ms=95.0, category="cellular",
        blocked=frozenset({"tcp:8.8.8.8:853"})),
    "offline": NetModel(
        ssid="Lobby-Guest", channel="1", gateway="192.168.0.1", rssi=-60, rssi_sd=2.0,
        gw_rtt=3.0, wan_rtt=40.0, jitter=5.0, rtt_min=20.0, rtt_max=80.0, loss=1.0,
        down=0.0, up=0.0, dns_ms=0.0, no_internet=True),
}
