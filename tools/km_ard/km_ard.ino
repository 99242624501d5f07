// Streams analog inputs to Kymora over the serial port.
//
// 256000 baud, 8 data bits, no parity, one stop bit. The host sends the number of channels as a digit ('1' to
// '6': A0 to A5) and then the rate as a letter ('a' to 'l', see intervals). The board answers two bytes 0x04 and
// sends scans: for each channel one 16-bit value, low byte first. It stops at 'z'.
//
// A scan is read when its time has come, counted from the start, so that the rate is that of the board's
// resonator, whatever a conversion takes.

const unsigned long intervals[] = {1000000, 500000, 200000, 100000, 50000, 20000,
                                   10000,   5000,   2000,   1000,   500,   200};  // us
const byte rateCount = sizeof intervals / sizeof intervals[0];
const byte mostChannels = 6;

byte channels = 1;
bool isStreaming = false;
unsigned long interval = 1000;
unsigned long due = 0;

void setup() {
  Serial.begin(256000);
#if defined(ADCSRA)
  // A conversion takes 13 cycles of the converter's clock. At a 32nd of 16 MHz that is 26 us, so that six
  // channels fit into a millisecond and one into 0.2 ms, still with nearly all of the ten bits.
  ADCSRA = (ADCSRA & ~0x07) | 0x05;
#endif
}

void hear(char command) {
  if (command >= '1' && command < '1' + mostChannels) {
    channels = command - '0';
  } else if (command >= 'a' && command < 'a' + rateCount) {
    interval = intervals[command - 'a'];
    Serial.write(0x04);
    Serial.write(0x04);
    isStreaming = true;
    due = micros() + interval;
  } else if (command == 'z') {
    isStreaming = false;
  }
}

void loop() {
  if (Serial.available() > 0) hear(Serial.read());
  // The clock begins anew after 71 minutes; the difference does not mind.
  if (!isStreaming || (long)(micros() - due) < 0) return;
  due += interval;
  byte scan[2 * mostChannels];
  for (byte channel = 0; channel < channels; ++channel) {
    const unsigned int value = analogRead(A0 + channel);
    scan[2 * channel] = value & 0xFF;
    scan[2 * channel + 1] = value >> 8;
  }
  Serial.write(scan, 2 * channels);
}
