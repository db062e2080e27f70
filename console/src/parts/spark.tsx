// How a number went, as small as a word: for a cell beside the number itself.
const WIDTH = 60;
const HEIGHT = 16;

export function Spark({values}: {values: readonly (number | null)[]}) {
  const most = Math.max(1, ...values.map((value) => value ?? 0));
  const step = WIDTH / Math.max(1, values.length);
  return (
    <svg class="spark" width={WIDTH} height={HEIGHT} aria-hidden="true">
      {values.map((value, index) => {
        const height = ((value ?? 0) / most) * HEIGHT;
        return (
          <rect key={index} x={index * step} y={HEIGHT - height} width={Math.max(1, step * 0.8)} height={height} />
        );
      })}
    </svg>
  );
}
